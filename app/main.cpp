#include "app/language.h"
#include "app/logfile.h"
#include "app/platform/process.h"
#include "app/platform/quitsignals.h"
#include "app/qautostarter.h"
#include "app/singleapphandler.h"
#include "app/sleeplistener.h"
#include "app/theme.h"
#include "runner/identitychange.h"
#include "runner/metatypes.h"
#include "runner/zugatewrunner.h"
#include "settings/defaults.h"
#include "settings/settingsfile.h"
#include "ui/leftoutbox.h"
#include "ui/mainwindow.h"
#include "ui/storagenotice.h"
#include "ui/widgets/qmaterialicon.h"
#include "ui/widgets/qtdockedapplication.h"
#include "watch/runwatch.h"

#include <QCommandLineParser>
#include <QIcon>
#include <QImageReader>
#include <QPixmap>
#include <QProcess>
#include <QStandardPaths>
#include <QTimer>

#include <chrono>
#include <cstdlib>
#include <optional>
#include <thread>

using namespace std::chrono_literals;

namespace {

// Ends the process even if ~QApplication still waits for DNS look-ups, which take up to a minute
// without a network. All data is stored by then.
void exitWithin(std::chrono::milliseconds limit, int exitCode)
{
    std::thread([limit, exitCode] {
        std::this_thread::sleep_for(limit);
        std::_Exit(exitCode);
    }).detach();
}

// Without the picture of 256 pixels: no list of windows shows it, and it takes 256 KB.
QIcon windowIcon()
{
    QIcon icon;
    QImageReader reader(QStringLiteral("://kvg-gate.ico"));
    for (int i = 0; i < reader.imageCount(); ++i) {
        if (reader.jumpToImage(i) && reader.size().width() <= 128) {
            icon.addPixmap(QPixmap::fromImage(reader.read()));
        }
    }
    return icon;
}

int runWindow(const QtDockedApplication &app, const SingleAppHandler &guard,
              const QuitSignals &quitSignals, const runwatch::StartPlan &plan)
{
    QAutoStarter autostart(QStringLiteral("NimbraCloudGate"),
                           QStringLiteral(":/images/zu-gate.png"), nullptr);
    SleepListener *const sleep = SleepListener::instance();
    sleep->install();
    MainWindow window(autostart, LogFile::folder());
    QObject::connect(&app, &QtDockedApplication::clickedOnDock, &window, &MainWindow::dockClicked);
    ZugatewRunner *const runner = window.runner();
    QObject::connect(sleep, &SleepListener::aboutToSleep, runner, &ZugatewRunner::flushPending);
    QObject::connect(sleep, &SleepListener::didWakeUp, runner, &ZugatewRunner::reconnect);
    QObject::connect(sleep, &SleepListener::aboutToSleep, &window, &MainWindow::prepareSleep);
    QObject::connect(sleep, &SleepListener::didWakeUp, &window, &MainWindow::postWake);
    QObject::connect(&guard, &SingleAppHandler::incomingMessage, &window,
                     [&window](const QString &message) {
                         if (message == QLatin1String("show")) {
                             window.bringUp();
                         } else if (message == QLatin1String("quit")) {
                             window.quit();
                         } else if (message == QLatin1String("restart")) {
                             window.restart();
                         }
                     });
    QObject::connect(&quitSignals, &QuitSignals::quitRequested, &window, &MainWindow::quit);
    // Later than the end of the start-up: tray icon and first states come after it.
    QTimer::singleShot(5s, &window, &releaseFreeMemory);
    if (!plan.withoutLayout) {
        window.restoreLayout();
    }
    QObject::connect(&window, &MainWindow::loadFinished, &window, [](bool isReady) {
        if (isReady) {
            runwatch::setReady();
        }
    });
    window.runInitSequence();
    new StorageNotice(&window);
    // Is never seen if the user has quit meanwhile.
    showLeftOut(&window, plan, [&window, &plan] {
        runwatch::forgetBlame();
        plan.withoutLayout ? window.restartWithStoredLayout() : window.restart();
    });
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    prepareProcess();
    QStringList arguments; // with those that the application object removes
    for (int i = 1; i < argc; ++i) {
        arguments.append(QString::fromLocal8Bit(argv[i]));
    }
    // Milliseconds. After the first registration Qt would poll the network interfaces every ten
    // seconds; the gateway does not use the result.
    qputenv("QT_BEARER_POLL_TIMEOUT", QByteArray("86400000"));
    registerMetaTypes();
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QtDockedApplication app(argc, argv);
    QCoreApplication::setOrganizationName("Corvalt");
    QCoreApplication::setApplicationName("KVG-Gate");
    QCoreApplication::setApplicationVersion(QString::fromLatin1(defaults::Version));
    QGuiApplication::setWindowIcon(windowIcon());
    QGuiApplication::setDesktopFileName("kvg-gate");
    QCoreApplication::addLibraryPath(QCoreApplication::applicationDirPath());
    QGuiApplication::setQuitOnLastWindowClosed(false);

    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addVersionOption();
    parser.setApplicationDescription("Nimbra Cloud Gateway Application");
    addThemeOptions(parser);
    parser.addOption({{"r", "reset"}, "Reset all settings."});
    // The spelling is a fixed part of the command line's help.
    parser.addOption({{"l", "lang"}, "Set langugage to <lang>.", "lang"});
    // For installers.
    QCommandLineOption quit("quit", "End the running instance.");
    quit.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOption(quit);
    // Of an instance that another one starts in its place: the first has done these already.
    QCommandLineOption restarted("restarted", "Ignore --reset and --lang.");
    restarted.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOption(restarted);
    parser.process(app);

    std::optional<LogFile> log(std::in_place);
    std::optional<SingleAppHandler> guard(std::in_place);
    if (parser.isSet(quit)) {
        guard->sendMessage("quit");
        return 0;
    }
    if (!guard->isFirstInstance()) {
        guard->sendMessage("show");
        return 0;
    }
    log->open();
    const runwatch::StartPlan plan = runwatch::begin(
        QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + "/run.state");
    int exitCode = 0;
    {
        sanitizeStoredSettings();
        IdentityChange::carryThrough();
        const bool isRestart = parser.isSet(restarted);
        settleLanguage(parser.isSet("reset") && !isRestart,
                       parser.isSet("lang") && !isRestart ? std::optional(parser.value("lang"))
                                                          : std::nullopt);
        settleTheme(&parser, &keys::Dark);
        QMaterialIcon::instance().setDark(isDarkTheme());
        const Translations translations(storedLanguage());
        const QuitSignals quitSignals;
        exitCode = runWindow(app, *guard, quitSignals, plan);
    }
    if (exitCode != 1) { // else a step of the start has failed
        runwatch::end();
    }
    if (exitCode == MainWindow::restartCode) {
        exitCode = 0;
        guard.reset(); // the next instance needs its lock, and the log file
        log.reset();
        if (!parser.isSet(restarted)) {
            arguments.prepend("--restarted"); // what follows "--" is no option
        }
        if (!QProcess::startDetached(QCoreApplication::applicationFilePath(), arguments)) {
            qWarning("Cannot start the program again");
        }
    }
    exitWithin(500ms, exitCode);
    return exitCode;
}
