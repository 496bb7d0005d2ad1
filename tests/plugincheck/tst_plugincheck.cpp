#include "tests/support/files.h"
#include "tests/support/testmain.h"

#include <QProcess>

class TestPluginCheck : public QObject
{
    Q_OBJECT

private slots:
    void everyFaultFailsAtItsLineAlone_data()
    {
        QTest::addColumn<QStringList>("failed");
        for (const auto &[fault, line, reason] : std::initializer_list<std::array<const char *, 3>>{
                 {"hang", "discover", "hangs in discover()"},
                 {"prints for ever", "discover", "hangs in discover()"},
                 {"ends the process", "discover", "ended the process"},
                 {"crash", "create", "crashed in create("},
                 {"underscore", "identity", "serial() is \"1_\""},
                 {"serial changes", "create", "came back as"},
                 {"claims all", "claims", "another key"},
                 {"large state", "state", "bytes"},
                 {"crash in settings", "settings", "crashed in setSettings({"},
                 {"loud update", "updates", "returned true and emitted"},
                 {"silent update", "updates", "returned false"},
                 {"idle update", "updates", "as before"},
                 {"crash in update", "updates", "crashed in applyUpdate({\"level\":["},
                 {"other thread", "signals", "another thread"},
                 {"false report", "signals", "carried"},
                 {"silent change", "signals", "not emitted"},
                 {"deletes itself", "signals", "gateway owns it"},
                 {"claims for good", "signals", "still true"},
                 {"gone twice", "signals", "twice"},
                 {"needs itself", "deletion", "crashed in"},
                 {"slow", "speed", "discover() takes"}}) {
            QTest::newRow(fault) << QStringList{line, reason};
        }
    }
    void everyFaultFailsAtItsLineAlone()
    {
        QFETCH(QStringList, failed);
        const auto [status, table] = check(built(), QTest::currentDataTag());
        QVERIFY2(status == 1 && table.count("FAILED") == 1, table.constData());
        QVERIFY2(QString(table).contains(QRegularExpression("FAILED +" + failed[0] + " .*" +
                                                            QRegularExpression::escape(failed[1]))),
                 table.constData());
    }

    void aSoundTypePasses()
    {
        const auto [status, table] = check(built());
        QVERIFY2(status == 0 && table.count("\nok ") == 13, table.constData());
    }

    void withoutADeviceSettingsAndSpeedAreChecked()
    {
        const auto [status, table] = check(built(), "no device");
        QVERIFY2(status == 0 && table.count("not checked: no device found") == 8,
                 table.constData());
    }

    void faultyDescriptionsFail()
    {
        const QTemporaryDir folder;
        const QString file = folder.filePath("thing_broken" KVG_MODULE_SUFFIX);
        const QByteArray whole = readFile(built());
        for (const auto &[from, to, line] : std::initializer_list<std::array<const char *, 3>>{
                 {"gversion", "gversiom", "metadata"},
                 {"dtypecint", "dtypecink", "form"},
                 {"clim", "clib", "load"}}) { // now a library that is missing
            QVERIFY(writeFile(file, QByteArray(whole).replace(from, to)));
            const auto [status, table] = check(file);
            QVERIFY2(status == 1 && table.count("FAILED") == 1, table.constData());
            QVERIFY2(QString(table).contains(QRegularExpression(QString("FAILED +") + line)),
                     table.constData());
        }
        QCOMPARE(check(qApp->applicationFilePath()).first, 2);
    }

private:
    static QString built()
    {
        return qApp->applicationDirPath() + "/plugincheck/thing_broken" KVG_MODULE_SUFFIX;
    }
    static std::pair<int, QByteArray> check(const QString &file, const QString &fault = {})
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("KVG_FAULT", fault);
        process.setProcessEnvironment(environment);
        // Under Wine, a process in some hundreds ends before its first line: it is started again.
        QByteArray table;
        for (int i = 0; i < 3 && table.isEmpty(); ++i) {
            process.start(KVG_CHECK, {"--seconds", "0.5", "--timeout", "5", "--rounds", "20",
                                      "--seed", "1", file});
            process.waitForFinished(120000);
            table = process.readAllStandardOutput();
        }
        return {process.exitCode(), table};
    }
};

KVG_TEST_MAIN(TestPluginCheck)
#include "tst_plugincheck.moc"
