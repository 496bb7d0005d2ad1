#include "app/singleapphandler.h"
#include "tests/app/otheruser.h"
#include "tests/support/testmain.h"

#include <QCryptographicHash>
#include <QDirIterator>
#include <QLocalSocket>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QSystemSemaphore>

namespace {

const QString key = QCryptographicHash::hash("Guarded", QCryptographicHash::Sha256).toHex();

// A process of the guarded application.
class Guarded : public QProcess
{
public:
    explicit Guarded(const QString &argument = "show") { start(KVG_GUARDED, {argument}); }
    ~Guarded() override { close(); } // kills it: its destructors do not run
    void go() { write("\n"); }
    bool says(const QString &line)
    {
        go();
        const QRegularExpression form(line + "\r?\n");
        return QTest::qWaitFor([&] { return (said += readAll()).contains(form); }, 10000);
    }
    QString said;
};

// Starts several together. Returns the first instance, or null unless there is exactly one.
std::unique_ptr<Guarded> startSeveral()
{
    std::array<std::unique_ptr<Guarded>, 5> all;
    std::unique_ptr<Guarded> first;
    std::generate(all.begin(), all.end(), [] { return std::make_unique<Guarded>(); });
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

} // namespace

class TestSingleAppHandler : public QObject
{
    Q_OBJECT

private slots:
    // A folder that every user can write to, as /tmp is.
    void init()
    {
        const QString folder = m_temp.filePath(QString::number(++m_tests));
        QVERIFY(QDir().mkpath(folder + "/data"));
        QProcess::execute("chmod", {"1777", folder, folder + "/data", m_temp.path()});
        qputenv("TMPDIR", QFile::encodeName(folder));
        qputenv("XDG_DATA_HOME", QFile::encodeName(folder + "/data"));
        qunsetenv("KVG_TEST_USER");
        QCoreApplication::setApplicationName("Guarded");
    }
    // Removes what killed processes left in the system, which the key files of another run could
    // find.
    void cleanup()
    {
        QVERIFY(SingleAppHandler().isFirstInstance());
        // The object that creates a semaphore also removes it.
        const QSystemSemaphore segmentSemaphore(key, 1, QSystemSemaphore::Create);
        const QSystemSemaphore semaphore(key + "_semaphore", 1, QSystemSemaphore::Create);
    }

    // Each round kills its first instance, which must not hinder the next round.
    void oneOfSeveralThatStartTogetherIsTheFirst()
    {
        for (int round = 0; round < 5; ++round) {
            QVERIFY(startSeveral());
        }
    }

    void anotherUsersServerAndSegmentAreIgnored_data()
    {
        QTest::addColumn<QString>("taken");
        QTest::addColumn<QByteArray>("user");
        QTest::newRow("socket") << "socket" << QByteArray("0"); // the only case on Windows
        QTest::newRow("shared memory") << "segment" << QByteArray("12345");
        QTest::newRow("both") << "socket-segment" << QByteArray("12345");
        QTest::newRow("both, from root") << "socket-segment" << QByteArray("0");
    }
    void anotherUsersServerAndSegmentAreIgnored()
    {
        QFETCH(QString, taken);
        QFETCH(QByteArray, user);
        Guarded other("--hold-" + taken);
        QVERIFY(other.says("(holds|no other user)"));
        if (!other.said.contains("holds")) {
            QSKIP("Only root can become another user");
        }
        qputenv("KVG_TEST_USER", user);
        const std::unique_ptr<Guarded> first = startSeveral();
        Guarded second;
        QVERIFY(first && second.says("second") && first->says("show"));
        QDirIterator sockets(QDir::tempPath(), QDir::System, QDirIterator::Subdirectories);
        while (sockets.hasNext()) {
            QFile::remove(sockets.next());
        }
        Guarded another;
        QVERIFY(another.says("second"));
    }

    void aHeldSemaphoreOnlyDelaysTheNextInstance()
    {
        for (const bool killed : {true, false}) {
            Guarded holder("--hold");
            QVERIFY(holder.says("holds"));
            Guarded next;
            next.go();
            QVERIFY(!next.waitForReadyRead(200));
            if (killed) {
                holder.kill();
            }
            QVERIFY(next.says("first"));
            Guarded another;
            QVERIFY(another.says("second") && next.says("show"));
        }
    }

    void messagesArriveWholeAndClientsAreLimited()
    {
        SingleAppHandler guard;
        QVERIFY(guard.isFirstInstance());
        QSignalSpy messages(&guard, &SingleAppHandler::incomingMessage);
        std::array<QLocalSocket, SingleAppHandler::maxClients + 1> clients;
        for (QLocalSocket &client : clients) {
            client.connectToServer(key);
            QCOMPARE(client.state(), QLocalSocket::ConnectedState);
            QTest::qWait(30); // the guard is on this thread, and a pipe queues few clients
        }
        QTRY_COMPARE(clients.back().state(), QLocalSocket::UnconnectedState);
        clients[0].write("one\ntwo\n\xd0");
        QTRY_COMPARE(messages.count(), 2);
        clients[0].write("\x96\n");
        QTRY_COMPARE(messages.count(), 3);
        QCOMPARE(messages[1] + messages[2], QVariantList({"two", "\xd0\x96"}));
        clients[1].write(QByteArray(1000000, 'x'));
        QTRY_COMPARE(clients[1].state(), QLocalSocket::UnconnectedState);
        QLocalSocket late; // there is room for it again
        late.connectToServer(key);
        late.write("again\n");
        QTRY_COMPARE(messages.count(), 4);
    }

private:
    QTemporaryDir m_temp;
    int m_tests = 0;
};

KVG_TEST_MAIN(TestSingleAppHandler)
#include "tst_singleapphandler.moc"
