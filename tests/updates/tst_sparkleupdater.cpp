#include "updates/sparkleupdater.h"

#include "settings/settingsstore.h"
#include "tests/support/files.h"
#include "tests/support/testmain.h"

namespace {

QStringList calls;

// Stands for the library and writes down what it is told.
const SparkleLibrary recorder = {
    [](const wchar_t *company, const wchar_t *application, const wchar_t *version) {
        const std::wstring comma = L", ";
        calls << "details " +
                     QString::fromStdWString(company + comma + application + comma + version);
    },
    [](const char *url) { calls << "feed " + QString::fromLocal8Bit(url); },
    [](int on) { calls << QStringLiteral("automatic %1").arg(on); },
    [](int seconds) { calls << QStringLiteral("interval %1").arg(seconds); },
    [](const char *pem) {
        calls << "key " + QString::fromLatin1(pem);
        return 1;
    },
    [] { calls << "init"; },
    [] { calls << "check"; },
    [] { calls << "cleanup"; },
};

} // namespace

class TestSparkleUpdater : public QObject
{
    Q_OBJECT

private slots:
    void everySettingComesBeforeTheStart()
    {
        QCoreApplication::setApplicationVersion("0.2.0");
        SettingsStore().set(keys::UpdateAutomatically, false);
        const QByteArray key = readFile(":/upd/corvalt_dsa_win_pub.pem");
        // A version control system that changed line ends would make another file of it.
        QCOMPARE(key.size(), 2268);
        for (const auto &[days, seconds] : {std::pair(QVariant(3), 259200),
                                            {0, 86400},
                                            {4000000000U, INT_MAX},
                                            {"weekly", 604800}}) {
            SettingsStore().setVariant(keys::UpdateInterval, days);
            calls.clear();
            {
                SparkleUpdater updater(recorder, "https://host.example/appcast.xml");
                updater.init();
                updater.checkNow();
            }
            QCOMPARE(calls,
                     (QStringList{"details Corvalt, KVG-Gate, 0.2.0",
                                  "feed https://host.example/appcast.xml", "automatic 0",
                                  QStringLiteral("interval %1").arg(seconds),
                                  "key " + QString::fromLatin1(key), "init", "check", "cleanup"}));
        }
    }
};

KVG_TEST_MAIN(TestSparkleUpdater)
#include "tst_sparkleupdater.moc"
