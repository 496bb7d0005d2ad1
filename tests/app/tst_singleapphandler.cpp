#include "app/singleapphandler.h"
#include "tests/support/testmain.h"

#include <QCryptographicHash>
#include <QDir>
#include <QLocalSocket>
#include <QProcess>
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
    bool says(const QByteArray &line)
    {
        return QTest::qWaitFor([&] { return (said += readAll()).contains(line + '\n'); }, 10000);
    }
    QByteArray said;
};

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
    void initTestCase() { qputenv("TMPDIR", QFile::encodeName(m_temp.path())); }
    void cleanupTestCase()
    {
        // Whoever creates it removes it: that of a killed process would stay in the system.
        QSystemSemaphore(keyOf("Guarded") + "_semaphore", 1, QSystemSemaphore::Create);
    }

    // The first of each round is killed, and must not be in the way of the next.
    void oneOfManyThatStartTogetherIsTheFirst()
    {
        for (int round = 0; round < 5; ++round) {
            std::array<Guarded, 5> all;
            for (Guarded &one : all) {
                one.go();
            }
            int first = 0;
            for (Guarded &one : all) {
                QTRY_VERIFY((one.said += one.readAll()).contains("first") ||
                            one.said.contains("second"));
                first += one.said.contains("first") ? 1 : 0;
            }
            QCOMPARE(first, 1);
        }
    }

    void aSecondStartIsHeardUntilTheFirstEnds_data()
    {
        QTest::addColumn<bool>("tidied");
        QTest::newRow("as a rule") << false;
        QTest::newRow("temporary files tidied away") << true;
    }
    void aSecondStartIsHeardUntilTheFirstEnds()
    {
        QFETCH(bool, tidied);
        Guarded first;
        first.go();
        QVERIFY(first.says("first"));
        if (tidied) {
            const QDir temp(m_temp.path());
            for (const QString &file : temp.entryList({"qipc_*"}, QDir::Files)) {
                QVERIFY(QFile::remove(temp.filePath(file)));
            }
        }
        Guarded second("show \xd0\x96");
        second.go();
        QVERIFY(second.says("second"));
        QVERIFY(first.says("show \xd0\x96"));
        first.kill();
        QVERIFY(first.waitForFinished());
        Guarded third;
        third.go();
        QVERIFY(third.says("first"));
    }

    void oneThatIsKilledWhileItAsksLetsTheNextAsk()
    {
        Guarded dawdler("--dawdle");
        QVERIFY(dawdler.says("dawdles"));
        Guarded next;
        next.go();
        QVERIFY(!next.waitForReadyRead(200));
        dawdler.kill();
        QVERIFY(next.says("first"));
    }

    void messagesComeWholeAndInOrder()
    {
        SingleAppHandler guard;
        QVERIFY(guard.isFirstInstance());
        QVERIFY(guard.isFirstInstance());
        QSignalSpy heard(&guard, &SingleAppHandler::incomingMessage);
        QLocalSocket client;
        client.connectToServer(keyOf("KVG-Gate"));
        QVERIFY(client.waitForConnected());
        client.write("one\ntwo\n\xd0");
        QTRY_COMPARE(heard.count(), 2);
        client.write("\x96\n");
        QTRY_COMPARE(heard.count(), 3);
        QCOMPARE(
            QStringList({heard[0][0].toString(), heard[1][0].toString(), heard[2][0].toString()}),
            QStringList({"one", "two", "\xd0\x96"}));
    }

    void aFloodIsCutOffAndOthersAreHeard()
    {
        SingleAppHandler guard;
        QVERIFY(guard.isFirstInstance());
        QSignalSpy heard(&guard, &SingleAppHandler::incomingMessage);
        QLocalSocket flood;
        flood.connectToServer(keyOf("KVG-Gate"));
        flood.write(QByteArray(1000000, 'x'));
        QTRY_COMPARE(flood.state(), QLocalSocket::UnconnectedState);

        std::array<QLocalSocket, SingleAppHandler::mostClients + 1> crowd;
        for (QLocalSocket &one : crowd) {
            one.connectToServer(keyOf("KVG-Gate"));
        }
        QTRY_COMPARE(crowd.back().state(), QLocalSocket::UnconnectedState);
        crowd.front().write("show\n");
        QTRY_COMPARE(heard.count(), 1);
        crowd.front().disconnectFromServer();
        // There is room again, as soon as the guard has noticed.
        QTRY_VERIFY((guard.sendMessage("again"), heard.count() > 1));
    }

private:
    QTemporaryDir m_temp;
};

KVG_TEST_MAIN(TestSingleAppHandler)
#include "tst_singleapphandler.moc"
