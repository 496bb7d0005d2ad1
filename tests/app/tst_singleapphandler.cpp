#include "app/singleapphandler.h"
#include "tests/app/otheruser.h"
#include "tests/support/testmain.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QLocalSocket>
#include <QProcess>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QSystemSemaphore>

namespace {

// A process of the guarded application.
class Guarded : public QProcess
{
public:
    explicit Guarded(const QString &argument = "show")
    {
        start(KVG_GUARDED, {argument});
        waitForStarted();
    }
    ~Guarded() override
    {
        kill(); // SIGKILL: no destructor runs there
        waitForFinished();
    }
    void go() { write("\n"); }
    bool says(const QString &line)
    {
        go();
        const QRegularExpression form(line + "\r?\n");
        return QTest::qWaitFor([&] { return (said += readAll()).contains(form); }, 10000);
    }
    QString said;
};

// Starts several together. The one that is the first, when all others are second.
std::unique_ptr<Guarded> onlyFirst()
{
    std::array<std::unique_ptr<Guarded>, 5> all;
    std::unique_ptr<Guarded> first;
    for (auto &one : all) {
        one = std::make_unique<Guarded>();
    }
    for (const auto &one : all) {
        one->go();
    }
    for (auto &one : all) {
        if (!one->says("(first|second)") || (first && one->said.contains("first"))) {
            return nullptr;
        }
        if (one->said.contains("first")) {
            first = std::move(one);
        }
    }
    return first;
}

QString keyOf(const QByteArray &application)
{
    return QString::fromLatin1(
        QCryptographicHash::hash(application, QCryptographicHash::Sha256).toHex());
}

} // namespace

class TestSingleAppHandler : public QObject
{
    Q_OBJECT

private slots:
    // A folder that every user can write, as the one for temporary files is.
    void init()
    {
        const QString folder = m_temp.filePath(QString::number(++m_tests));
        QVERIFY(QDir().mkpath(folder + "/data"));
        QProcess::execute("chmod", {"1777", folder, folder + "/data", m_temp.path()});
        qputenv("TMPDIR", QFile::encodeName(folder));
    }
    // What killed processes left would stay in the system, and come up again below the key files of
    // another run.
    void cleanup()
    {
        const QString application = QCoreApplication::applicationName();
        QCoreApplication::setApplicationName("Guarded");
        QVERIFY(SingleAppHandler().isFirstInstance());
        QCoreApplication::setApplicationName(application);
        // Whoever creates it removes it.
        const QSystemSemaphore memory(keyOf("Guarded"), 1, QSystemSemaphore::Create);
        const QSystemSemaphore turn(keyOf("Guarded") + "_semaphore", 1, QSystemSemaphore::Create);
    }

    // The first of each round is killed, and must not be in the way of the next.
    void oneOfManyThatStartTogetherIsTheFirst()
    {
        for (int round = 0; round < 5; ++round) {
            QVERIFY(onlyFirst());
        }
    }

    void whatAnotherUserHasTakenIsNoInstance_data()
    {
        QTest::addColumn<QString>("taken");
        QTest::addColumn<QByteArray>("user");
        QTest::newRow("socket") << "socket" << QByteArray("0"); // the only one for Windows
        QTest::newRow("shared memory") << "segment" << QByteArray("12345");
        QTest::newRow("both") << "socket-segment" << QByteArray("12345");
        QTest::newRow("both, from root") << "socket-segment" << QByteArray("0");
    }
    void whatAnotherUserHasTakenIsNoInstance()
    {
        QFETCH(QString, taken);
        QFETCH(QByteArray, user);
        Guarded other("--dawdle-" + taken);
        QVERIFY(other.says("(dawdles|no other user)"));
        if (!other.said.contains("dawdles")) {
            QSKIP("Another user can be had by root only");
        }
        const QByteArray data = qgetenv("XDG_DATA_HOME");
        const auto restored = qScopeGuard([data] {
            qputenv("XDG_DATA_HOME", data);
            qunsetenv("KVG_TEST_USER");
        });
        qputenv("XDG_DATA_HOME", qgetenv("TMPDIR") + "/data");
        qputenv("KVG_TEST_USER", user);
        const std::unique_ptr<Guarded> first = onlyFirst();
        QVERIFY(first);
        Guarded second;
        QVERIFY(second.says("second") && first->says("show"));
        QDirIterator sockets(QDir::tempPath(), QDir::System, QDirIterator::Subdirectories);
        while (sockets.hasNext()) {
            QFile::remove(sockets.next());
        }
        Guarded another;
        QVERIFY(another.says("second"));
    }

    void oneThatNeverStopsAskingLocksNobodyOut()
    {
        for (const bool killed : {true, false}) {
            Guarded dawdler("--dawdle");
            QVERIFY(dawdler.says("dawdles"));
            Guarded next;
            next.go();
            QVERIFY(!next.waitForReadyRead(200));
            if (killed) {
                dawdler.kill();
            }
            QVERIFY(next.says("first"));
            Guarded another;
            QVERIFY(another.says("second") && next.says("show"));
        }
    }

    void aNameThatAnotherUserHoldsIsLeftToHim()
    {
        const TakenName name(keyOf("Guarded"));
        Guarded first;
        QVERIFY(first.says("first"));
        Guarded second;
        QVERIFY(second.says("second") && first.says("show"));
    }

    void messagesComeWholeAndAFloodIsCutOff()
    {
        SingleAppHandler guard;
        QVERIFY(guard.isFirstInstance());
        QSignalSpy heard(&guard, &SingleAppHandler::incomingMessage);
        std::array<QLocalSocket, SingleAppHandler::mostClients + 1> crowd;
        for (QLocalSocket &one : crowd) {
            one.connectToServer(keyOf("KVG-Gate"));
            QCOMPARE(one.state(), QLocalSocket::ConnectedState);
            QTest::qWait(30); // a pipe lets a few wait only, and the guard is on this thread
        }
        QTRY_COMPARE(crowd.back().state(), QLocalSocket::UnconnectedState);
        crowd[0].write("one\ntwo\n\xd0");
        QTRY_COMPARE(heard.count(), 2);
        crowd[0].write("\x96\n");
        QTRY_COMPARE(heard.count(), 3);
        QCOMPARE(heard[1][0].toString(), QString("two"));
        QCOMPARE(heard[2][0].toString(), QString("\xd0\x96"));
        crowd[1].write(QByteArray(1000000, 'x'));
        QTRY_COMPARE(crowd[1].state(), QLocalSocket::UnconnectedState);
        // There is room again, as soon as the guard has noticed.
        QLocalSocket late;
        const auto isHeard = [&] {
            late.abort();
            late.connectToServer(keyOf("KVG-Gate"));
            late.write("again\n");
            return heard.count() > 3;
        };
        QTRY_VERIFY(isHeard());
    }

private:
    QTemporaryDir m_temp;
    int m_tests = 0;
};

KVG_TEST_MAIN(TestSingleAppHandler)
#include "tst_singleapphandler.moc"
