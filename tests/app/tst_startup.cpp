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

    void theLanguageIsSettled_data()
    {
        QTest::addColumn<QVariant>("before");
        QTest::addColumn<bool>("reset");
        QTest::addColumn<QString>("option");
        QTest::addColumn<QString>("stored");
        QTest::addColumn<int>("keys");
        const QString system = QString::number(QLocale::system().language());
        QTest::newRow("first start") << QVariant() << false << QString() << system << 2;
        QTest::newRow("kept") << QVariant("ru") << false << QString() << "ru" << 2;
        QTest::newRow("asked") << QVariant("ru") << false << "pt_BR"
                               << "pt_BR" << 2;
        QTest::newRow("reset wins") << QVariant("ru") << true << "pt_BR" << system << 1;
    }
    void theLanguageIsSettled()
    {
        QFETCH(QVariant, before);
        QFETCH(QString, option);
        QFETCH(bool, reset);
        QSettings().setValue("Cloud/Serial", "S");
        if (before.isValid()) {
            QSettings().setValue("UI/Language", before);
        }
        settleLanguage(reset, option.isNull() ? std::nullopt : std::make_optional(option));
        QTEST(storedLanguage(), "stored");
        QTEST(QSettings().allKeys().size(), "keys");
    }

    void helpTellsTheOptionsInTheirOrder()
    {
        const QString help = run({"--help"});
        int last = -1;
        for (const char *const text :
             {"Nimbra Cloud Gateway Application", "--version", "--ignore-dark",
              "Ignore the system-wide dark theme setting.", "--reset", "Reset all settings.",
              "--lang <lang>", "Set langugage to <lang>."}) {
            const int at = help.indexOf(QLatin1String(text));
            QVERIFY2(at > last, text);
            last = at;
        }
        QCOMPARE(run({"-v"}).trimmed(), QString("KVG-Gate 0.2.0"));
        QVERIFY(QSettings().allKeys().isEmpty()); // both end before any setting is touched
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
            run({}, "status\nstate\nnonsense\nrename gateway_200_? \xd0\x94\xd0\xbe\xd0\xbc 1\n" +
                        QByteArray(100000, 'x') + "\nthings\nquit\n");
        QVERIFY(output.contains("{\"op\":\"RegStatus\",\"result\":0}"));
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
