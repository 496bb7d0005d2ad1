#include "app/language.h"
#include "app/logfile.h"
#include "app/singleapphandler.h"
#include "settings/defaults.h"
#include "tests/app/otheruser.h"
#include "tests/support/files.h"
#include "tests/support/testmain.h"

#include <QCryptographicHash>
#include <QDir>
#include <QLibraryInfo>
#include <QLocale>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>

// The gateway as a process, on Qt's offscreen platform.
class TestStartup : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qputenv("TMPDIR", m_temporary.path().toLocal8Bit()); // the guard's files are there
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
        qputenv("QT_FORCE_STDERR_LOGGING", "1");   // on Windows a debugger would get it
        qputenv("ASAN_OPTIONS", "detect_leaks=0"); // Qt's platform plugin leaks
    }
    void init() { QSettings().clear(); }
    // A detached instance of a test that failed.
    void cleanupTestCase() { SingleAppHandler().sendMessage("quit"); }

    void theLanguageIsStored()
    {
        const QString system = QString::number(QLocale::system().language());
        QSettings().setValue("Cloud/Serial", "S");
        settleLanguage(false, std::nullopt);
        QCOMPARE(storedLanguage(), system);
        settleLanguage(false, QString("pt_BR"));
        settleLanguage(false, std::nullopt);
        QCOMPARE(storedLanguage(), QString("pt_BR"));
        settleLanguage(true, QString("ru"));
        QCOMPARE(storedLanguage(), system);
        QCOMPARE(QSettings().allKeys().size(), 1);
    }

    void textsOfPluginsAreTranslatedBesideOurOwn()
    {
        const auto translated = [](const char *text) {
            return QCoreApplication::translate("Plugins", text);
        };
        const Translations translations("ru_RU");
        QCOMPARE(translated("Kettle"), QString("Чайник"));
        QCOMPARE(translated("Virtual lamp"), QString("Виртуальная лампа"));
    }

    void helpAndVersionStoreNothing()
    {
        QVERIFY(run({"--help"}).contains("Nimbra Cloud Gateway Application"));
        QVERIFY(run({"--help"}).contains("--ignore-dark"));
        QVERIFY(!run({"--help"}).contains("quit"));
        QCOMPARE(run({"-v"}).trimmed(), QString("KVG-Gate ") + defaults::Version);
        QVERIFY(QSettings().allKeys().isEmpty());
    }

    void aTerminatedGatewaySavesAndExits()
    {
        QProcess gateway;
        QVERIFY(start(gateway, {"--lang", "../../x"}));
        gateway.terminate();
        QVERIFY(exitsCleanly(gateway));
        QVERIFY(QSettings().contains("System/Window"));
        QVERIFY(QSettings().contains("UI/Geom"));
    }

    void aSecondInstanceShowsTheFirstAndChangesNothing()
    {
        QDir(LogFile::folder()).removeRecursively();
        const BlockedServerName name(QString::fromLatin1(
            QCryptographicHash::hash("KVG-Gate", QCryptographicHash::Sha256).toHex()));
        QProcess first;
        QVERIFY(start(first, {}));
        QSettings().setValue("Cloud/Serial", "S");
        QCOMPARE(run({"--reset"}), QString());
        QCOMPARE(QSettings().value("Cloud/Serial").toString(), QString("S"));
        QCOMPARE(first.state(), QProcess::Running);
        QCOMPARE(run({"--quit", "--reset"}), QString());
        QVERIFY(exitsCleanly(first));
        const QByteArray log = readFile(LogFile::folder() + "/kvg-gate.log");
        QCOMPARE(log.count("starts with"), 1);
        QVERIFY(log.indexOf("starts with") < log.indexOf("Cannot listen"));
        QVERIFY(QSettings().contains("UI/Geom"));
        QCOMPARE(run({"--quit", "--reset"}), QString());
        QCOMPARE(QSettings().value("Cloud/Serial").toString(), QString("S"));
    }

    void aRestartedGatewayKeepsItsSettings()
    {
        QDir(LogFile::folder()).removeRecursively();
        QProcess first; // the second writes to its pipes
        QVERIFY(start(first, {"-rl", "ru", "--ignore-dark", "--"}));
        QCOMPARE(storedLanguage(), QString::number(QLocale::system().language()));
        QSettings().setValue("UI/Language", "pt_BR"); // as the settings page would
        for (int starts = 2; starts < 4; ++starts) {
            SingleAppHandler().sendMessage("restart");
            QTRY_COMPARE_WITH_TIMEOUT(logged("Ready"), starts, 20000);
            QVERIFY(exitsCleanly(first));
        }
        QCOMPARE(storedLanguage(), QString("pt_BR"));
        QCOMPARE(run({"--quit"}), QString());
        QTRY_VERIFY(SingleAppHandler().isFirstInstance()); // it has ended
        QCOMPARE(logged("starts with"), 3);
    }

    // The quit message arrives in the nested event loop of the start-up.
    void aGatewayThatIsStartingCanBeQuit()
    {
        QProcess starting;
        QVERIFY(start(starting, {}, QByteArray("KVG-Gate ") + defaults::Version + " starts"));
        SingleAppHandler().sendMessage("quit");
        QVERIFY(exitsCleanly(starting));
        QVERIFY(starting.readAll().contains("Ended during start-up with exit code 0"));
    }

private:
    // False when its output does not contain `sign` within 20 seconds.
    bool start(QProcess &gateway, const QStringList &arguments,
               const QByteArray &sign = "kvg.ui: Ready") const
    {
        gateway.setProcessChannelMode(QProcess::MergedChannels);
        gateway.start(KVG_GATE, m_platform + arguments);
        QByteArray output;
        return QTest::qWaitFor([&] { return (output += gateway.readAll()).contains(sign); }, 20000);
    }
    static int logged(const char *text)
    {
        return readFile(LogFile::folder() + "/kvg-gate.log").count(text);
    }
    static bool exitsCleanly(QProcess &gateway)
    {
        return (gateway.state() == QProcess::NotRunning || gateway.waitForFinished()) &&
               gateway.exitStatus() == QProcess::NormalExit && gateway.exitCode() == 0;
    }
    QString run(const QStringList &arguments) const
    {
        QProcess process;
        process.start(KVG_GATE, m_platform + arguments);
        if (!process.waitForFinished(30000) || process.exitCode() != 0) {
            return "failed: " + QString::fromUtf8(process.readAllStandardError());
        }
        return QString::fromUtf8(process.readAllStandardOutput());
    }

    QTemporaryDir m_temporary;
    // The program's own folder need not have the offscreen platform.
    const QStringList m_platform{"-platform", "offscreen", "-platformpluginpath",
                                 QLibraryInfo::location(QLibraryInfo::PluginsPath) + "/platforms"};
};

KVG_TEST_MAIN(TestStartup)
#include "tst_startup.moc"
