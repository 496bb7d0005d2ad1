#include "app/consolesession.h"
#include "app/language.h"
#include "app/platform/quitsignals.h"
#include "app/theme.h"
#include "runner/metatypes.h"
#include "settings/defaults.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <chrono>
#include <cstdlib>
#include <thread>

using namespace std::chrono_literals;

namespace {

// The application object waits for host look-ups that are still under way, which on a dead
// network take the better part of a minute. Everything is stored and closed by now.
void leaveWithin(std::chrono::milliseconds limit, int status)
{
    std::thread([limit, status] {
        std::this_thread::sleep_for(limit);
        std::_Exit(status);
    }).detach();
}

} // namespace

int main(int argc, char *argv[])
{
    registerMetaTypes();
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName("Corvalt");
    QCoreApplication::setApplicationName("KVG-Gate");
    QCoreApplication::setApplicationVersion(QString::fromLatin1(defaults::Version));
    QCoreApplication::addLibraryPath(QCoreApplication::applicationDirPath());

    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addVersionOption();
    parser.setApplicationDescription("Nimbra Cloud Gateway Application");
    addThemeOptions(parser);
    parser.addOption({{"r", "reset"}, "Reset all settings."});
    // Spelt so on purpose: the wording of the help is fixed.
    parser.addOption({{"l", "lang"}, "Set langugage to <lang>.", "lang"});
    parser.process(app);

    std::optional<QString> language;
    if (parser.isSet("lang")) {
        language = parser.value("lang");
    }
    settleLanguage(parser.isSet("reset"), language);
    const Translations translations(storedLanguage());

    int status = 0;
    {
        const QuitSignals quitSignals;
        ConsoleSession session;
        session.start();
        status = QCoreApplication::exec();
    }
    leaveWithin(500ms, status);
    return status;
}
