#include "app/language.h"
#include "tests/support/testmain.h"

#include <QLocale>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>

#include <csignal>

// The gateway as a process, on the toolkit's platform without a display.
class TestStartup : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        qputenv("TMPDIR", m_temporary.path().toLocal8Bit()); // the guard's names lie there
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
        qputenv("ASAN_OPTIONS", "detect_leaks=0"); // of the toolkit's platform, at its end
    }
    void init() { QSettings().clear(); }

    void theLanguageIsSettled()
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

    void helpAndVersionTouchNoSetting()
    {
        QVERIFY(run({"--help"}).contains("Nimbra Cloud Gateway Application"));
        QVERIFY(run({"--help"}).contains("--ignore-dark"));
        QCOMPARE(run({"-v"}).trimmed(), QString("KVG-Gate 0.2.0"));
        QVERIFY(QSettings().allKeys().isEmpty());
    }

    void aTerminatedGatewayEndsInOrder()
    {
        QProcess gateway;
        QVERIFY(start(gateway, {"--lang", "../../x"}));
        terminate(gateway);
        QVERIFY(QSettings().contains("System/Window"));
        QVERIFY(QSettings().contains("UI/Geom"));
    }

    void aSecondOneWakesTheFirstAndTouchesNothing()
    {
        QProcess first;
        QVERIFY(start(first, {}));
        QSettings().setValue("Cloud/Serial", "S");
        QCOMPARE(run({"--reset"}), QString());
        QCOMPARE(QSettings().value("Cloud/Serial").toString(), QString("S"));
        QCOMPARE(first.state(), QProcess::Running);
        terminate(first);
    }

private:
    // False when it does not say within 20 seconds that it is ready.
    static bool start(QProcess &gateway, const QStringList &arguments)
    {
        gateway.setProcessChannelMode(QProcess::MergedChannels);
        gateway.start(KVG_GATE, arguments);
        QByteArray output;
        return QTest::qWaitFor(
            [&] { return (output += gateway.readAll()).contains("kvg.ui: Ready"); }, 20000);
    }
    static void terminate(QProcess &gateway)
    {
        QVERIFY(::kill(static_cast<pid_t>(gateway.processId()), SIGTERM) == 0);
        QVERIFY(gateway.waitForFinished());
        QCOMPARE(gateway.exitStatus(), QProcess::NormalExit);
        QCOMPARE(gateway.exitCode(), 0);
    }
    static QString run(const QStringList &arguments)
    {
        QProcess process;
        process.start(KVG_GATE, arguments);
        if (!process.waitForFinished(30000) || process.exitCode() != 0) {
            return "failed: " + QString::fromUtf8(process.readAllStandardError());
        }
        return QString::fromUtf8(process.readAllStandardOutput());
    }

    QTemporaryDir m_temporary;
};

KVG_TEST_MAIN(TestStartup)
#include "tst_startup.moc"
