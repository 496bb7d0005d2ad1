#include "loader/pluginloader.h"
#include "runner/devicescan.h"
#include "runner/livethings.h"
#include "tests/support/files.h"
#include "tests/support/testmain.h"
#include "watch/runrecord.h"
#include "watch/runwatch.h"

#include <QProcess>
#include <QThread>

#include <cstring>

namespace {

// A gateway that loads the plugin and scans, prints its plan and "ready", and goes on until its
// standard input ends. Arguments: the file of the record, the folder above "plugins".
int runGateway(const QString &file, const QString &folder)
{
    const runwatch::StartPlan plan = runwatch::begin(file);
    for (const runwatch::LeftOut &plugin : plan.plugins) {
        std::printf("without %s %d\n", qPrintable(plugin.path.section('/', -1)),
                    int(plugin.reason));
    }
    std::printf(plan.withoutLayout ? "without layout\n" : "");
    QThread thread;
    QObject worker;
    worker.moveToThread(&thread);
    thread.start();
    const auto run = [&](const std::function<void()> &work) {
        QMetaObject::invokeMethod(&worker, work, Qt::BlockingQueuedConnection);
    };
    std::unique_ptr<PluginLoader> loader;
    std::unique_ptr<LiveThings> things;
    std::unique_ptr<DeviceScan> scan;
    run([&] {
        loader = std::make_unique<PluginLoader>(folder);
        loader->load();
        things = std::make_unique<LiveThings>();
        scan = std::make_unique<DeviceScan>(*loader, *things);
        scan->run();
        scan->run();
        if (qgetenv("KVG_BAD") != "main") {
            runwatch::setReady(); // before a timer of the plugin can crash
        }
    });
    if (qgetenv("KVG_BAD") == "main") {
        std::abort();
    }
    std::printf("ready\n");
    std::fflush(stdout);
    std::getchar();
    run([&] {
        scan.reset();
        things.reset();
        loader.reset();
    });
    thread.quit();
    thread.wait();
    runwatch::end();
    return 0;
}

} // namespace

// Gateways as processes of their own.
class TestRunWatch : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_file = m_dir->filePath("run.state");
        QVERIFY(QDir(m_dir->path()).mkpath("plugins"));
        const QString name = "thing_bad" KVG_MODULE_SUFFIX;
        QVERIFY(QFile::copy(QCoreApplication::applicationDirPath() + "/watch/" + name, plugin()));
    }

    void aPluginIsLeftOutAfterItsSecondFailure_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QString>("plan");
        QTest::newRow("a fault") << "null" << without(1);
        QTest::newRow("abort()") << "abort" << without(1);
        QTest::newRow("an exception") << "throw" << without(1);
        QTest::newRow("an exception in its own thread") << "thread" << without(1);
        if (QSysInfo::kernelType() != "winnt") { // Wine 8 ends the thread, without an exception
            QTest::newRow("a stack overflow") << "recurse" << without(1);
        }
        QTest::newRow("qFatal() in an event") << "timer" << without(1);
        QTest::newRow("a hang") << "hang" << without(2);
        QTest::newRow("a crash elsewhere") << "main"
                                           << "without layout\n";
    }
    void aPluginIsLeftOutAfterItsSecondFailure()
    {
        if (!KVG_HANDLE_CRASHES) {
            QSKIP("the sanitizers report crashes by handlers of their own");
        }
        QFETCH(QString, fault);
        QFETCH(QString, plan);
        for (int i = 0; i < 2; ++i) {
            QCOMPARE(run({}), QString("ready\n")); // does not forget a crash
            QVERIFY(!run(fault).contains("without"));
            if (fault == "hang" || fault == "main") { // only one start after another counts
                QVERIFY(!run(fault).contains("without"));
                break;
            }
        }
        QCOMPARE(run(fault == "main" ? "" : fault), plan + "ready\n");
        if (fault == "main") {
            QCOMPARE(run({}), QString("ready\n"));
            return;
        }
        QCOMPARE(run({}), plan + "ready\n"); // until the file changes
        QFile file(plugin());
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(-60),
                                 QFileDevice::FileModificationTime));
        file.close();
        QCOMPARE(run({}), QString("ready\n"));
    }

    void crashesMoreThanADayApartAreForgiven()
    {
        if (!KVG_HANDLE_CRASHES) {
            QSKIP("the sanitizers report crashes by handlers of their own");
        }
        for (const auto &[hours, plan] : {std::pair(25, QString()), std::pair(23, without(1))}) {
            QFile::remove(m_file);
            run("null");
            QByteArray bytes = readFile(m_file);
            RunRecord record;
            QCOMPARE(bytes.size(), int(sizeof(record)));
            std::memcpy(&record, bytes.constData(), sizeof(record));
            QCOMPARE(QString(record.crashModule), QString("thing_bad" KVG_MODULE_SUFFIX));
            record.crashTime -= qint64(hours) * 3600;
            QVERIFY(
                writeFile(m_file, QByteArray(reinterpret_cast<char *>(&record), sizeof(record))));
            run("timer");
            QCOMPARE(run({}), plan + "ready\n");
        }
    }

    void aDamagedRecordIsIgnored()
    {
        run("hang");
        const QByteArray bytes = readFile(m_file);
        QRandomGenerator random(1);
        for (int i = 0; i < 20; ++i) {
            QByteArray damaged =
                bytes.left(i % 4 == 0 ? random.bounded(bytes.size()) : bytes.size());
            for (int at = 8; at < damaged.size() && i % 4 != 0; at += i % 4 * 100 - 99) {
                damaged[at] = char(i % 4 == 3 ? 0xff : random.bounded(256));
            }
            QVERIFY(writeFile(m_file, damaged));
            QCOMPARE(run({}), QString("ready\n"));
        }
    }

    void slowCallsAreNamedOnce()
    {
        run("slow"); // scans twice
        QCOMPARE(m_log.count("The device type bad took 2"), 1);
        QVERIFY(m_log.contains("ms for discover()"));
    }

private:
    QString plugin() const { return m_dir->filePath("plugins/thing_bad" KVG_MODULE_SUFFIX); }
    static QString without(int reason)
    {
        return QString("without thing_bad%1 %2\n").arg(KVG_MODULE_SUFFIX).arg(reason);
    }
    // What a gateway prints until it ends. One that hangs is killed; others end when they are
    // ready.
    QString run(const QString &fault)
    {
        QProcess gateway;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("KVG_BAD", fault);
        environment.insert("QT_FORCE_STDERR_LOGGING", "1");
        gateway.setProcessEnvironment(environment);
        gateway.start(QCoreApplication::applicationFilePath(),
                      {"--gateway", m_file, m_dir->path()});
        QString output;
        const auto isReady = [&] {
            output += gateway.readAllStandardOutput();
            return output.contains("ready") || gateway.state() == QProcess::NotRunning;
        };
        const bool isHanging = fault == "hang" && !QTest::qWaitFor(isReady, 2000);
        if (isHanging) {
            gateway.kill();
        } else if (!QTest::qWaitFor(isReady, 60000)) {
            return "no end";
        }
        if (fault != "timer" || output.contains("without")) { // else it crashes later
            gateway.closeWriteChannel();
        }
        gateway.waitForFinished(60000);
        m_log = gateway.readAllStandardError();
        output += gateway.readAllStandardOutput();
        // Under Wine, a process in some hundreds ends before its first line: it is started again.
        static int retries = 3;
        return output.isEmpty() && fault.isEmpty() && --retries > 0 ? run(fault)
                                                                    : output.remove('\r');
    }

    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_file;
    QByteArray m_log;
};

int main(int argc, char *argv[])
{
    if (argc == 4 && std::strcmp(argv[1], "--gateway") == 0) {
        QCoreApplication app(argc, argv);
        QCoreApplication::setOrganizationName("Corvalt");
        QCoreApplication::setApplicationName("KVG-Gate");
        return runGateway(app.arguments().at(2), app.arguments().at(3));
    }
    TestProfile profile;
    QCoreApplication app(argc, argv);
    TestRunWatch test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_runwatch.moc"
