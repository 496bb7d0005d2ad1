#include "app/language.h"
#include "tests/support/testmain.h"

#include <QLocale>
#include <QProcess>
#include <QSettings>

#include <csignal>

class TestStartup : public QObject
{
    Q_OBJECT

private slots:
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
        QCOMPARE(QSettings().value("Cloud/Serial").toString(), QString("S"));
        settleLanguage(true, QString("ru"));
        QCOMPARE(storedLanguage(), system);
        QCOMPARE(QSettings().allKeys().size(), 1);
    }

    void helpAndVersionTouchNoSetting()
    {
        QVERIFY(run({"--help"}).contains("Nimbra Cloud Gateway Application"));
        QCOMPARE(run({"-v"}).trimmed(), QString("KVG-Gate 0.2.0"));
        QVERIFY(QSettings().allKeys().isEmpty());
    }

    void aTerminatedGatewayEndsInOrder()
    {
        QProcess gateway;
        gateway.start(KVG_GATE, {"--lang", "../../x"});
        QByteArray output;
        QTRY_VERIFY_WITH_TIMEOUT((output += gateway.readAll()).contains("\"ready\""), 20000);
        QVERIFY(::kill(static_cast<pid_t>(gateway.processId()), SIGTERM) == 0);
        QVERIFY(gateway.waitForFinished());
        QCOMPARE(gateway.exitStatus(), QProcess::NormalExit);
        QCOMPARE(gateway.exitCode(), 0);
    }

    void theConsoleAnswersEveryLine()
    {
        const QString output =
            run({}, "state\nnonsense\nrename gateway_200_? \xd0\x94\xd0\xbe\xd0\xbc 1\n" +
                        QByteArray(100000, 'x') + "\nquit\n");
        QVERIFY(output.contains("{\"op\":\"RegStatus\",\"result\":0}"));
        QVERIFY(output.contains("{\"op\":\"TRename\",\"result\":true}"));
        QVERIFY(output.contains("unknown command: nonsense"));
        QVERIFY(output.contains("command too long"));
    }

private:
    static QString run(const QStringList &arguments, const QByteArray &input = {})
    {
        QProcess process;
        process.start(KVG_GATE, arguments);
        process.write(input);
        if (!process.waitForFinished(30000) || process.exitCode() != 0) {
            return "failed: " + QString::fromUtf8(process.readAllStandardError());
        }
        return QString::fromUtf8(process.readAllStandardOutput());
    }
};

KVG_TEST_MAIN(TestStartup)
#include "tst_startup.moc"
