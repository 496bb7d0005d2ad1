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
    ~Guarded() override { close(); } // by SIGKILL: no destructor runs there
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
    // A folder that every user can write, as the one for temporary files is.
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
    // What killed processes left would stay in the system, and come up again below the key files of
    // another run.
    void cleanup()
    {
        QVERIFY(SingleAppHandler().isFirstInstance());
        // Whoever creates it removes it.
        const QSystemSemaphore memory(key, 1, QSystemSemaphore::Create);
        const QSystemSemaphore turn(key + "_semaphore", 1, QSystemSemaphore::Create);
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
        qputenv("KVG_TEST_USER", user);
        const std::unique_ptr<Guarded> first = onlyFirst();
        Guarded second;
        QVERIFY(first && second.says("second") && first->says("show"));
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

    void messagesComeWholeAndAFloodIsCutOff()
    {
        SingleAppHandler guard;
        QVERIFY(guard.isFirstInstance());
        QSignalSpy heard(&guard, &SingleAppHandler::incomingMessage);
        std::array<QLocalSocket, SingleAppHandler::mostClients + 1> crowd;
        for (QLocalSocket &one : crowd) {
            one.connectToServer(key);
            QCOMPARE(one.state(), QLocalSocket::ConnectedState);
            QTest::qWait(30); // a pipe lets a few wait only, and the guard is on this thread
        }
        QTRY_COMPARE(crowd.back().state(), QLocalSocket::UnconnectedState);
        crowd[0].write("one\ntwo\n\xd0");
        QTRY_COMPARE(heard.count(), 2);
        crowd[0].write("\x96\n");
        QTRY_COMPARE(heard.count(), 3);
        QCOMPARE(heard[1] + heard[2], QVariantList({"two", "\xd0\x96"}));
        crowd[1].write(QByteArray(1000000, 'x'));
        QTRY_COMPARE(crowd[1].state(), QLocalSocket::UnconnectedState);
        QLocalSocket late; // for which there is room again
        late.connectToServer(key);
        late.write("again\n");
        QTRY_COMPARE(heard.count(), 4);
    }

private:
    QTemporaryDir m_temp;
    int m_tests = 0;
};

KVG_TEST_MAIN(TestSingleAppHandler)
#include "tst_singleapphandler.moc"
