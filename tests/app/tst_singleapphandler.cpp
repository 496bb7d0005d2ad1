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
        // What killed processes left would stay in the system, and come up again below the key
        // files of another run.
        QCoreApplication::setApplicationName("Guarded");
        QVERIFY(SingleAppHandler().isFirstInstance());
        for (const QString &name :
             {keyOf("Guarded"), keyOf("Guarded\n" + QDir::homePath().toUtf8()),
              keyOf("Guarded") + "_semaphore"}) {
            QSystemSemaphore(name, 1, QSystemSemaphore::Create); // whoever creates it removes it
        }
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
        QTemporaryDir tidy;
        const QDir temp(m_temp.path());
        const QStringList keyFiles = temp.entryList({"qipc_*"}, QDir::Files);
        for (const QString &file : keyFiles) {
            QVERIFY(!tidied || QFile::rename(temp.filePath(file), tidy.filePath(file)));
        }
        Guarded second("show \xd0\x96");
        second.go();
        QVERIFY(second.says("second"));
        QVERIFY(first.says("show \xd0\x96"));
        first.kill();
        QVERIFY(first.waitForFinished());
        for (const QString &file : keyFiles) { // their numbers must not be given to others
            QVERIFY(!tidied || QFile::rename(tidy.filePath(file), temp.filePath(file)));
        }
        Guarded third;
        third.go();
        QVERIFY(third.says("first"));
    }

    void oneThatNeverStopsAskingLocksNobodyOut_data()
    {
        QTest::addColumn<bool>("killed");
        QTest::newRow("killed") << true;
        QTest::newRow("stopped") << false;
    }
    void oneThatNeverStopsAskingLocksNobodyOut()
    {
        QFETCH(bool, killed);
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
        another.go();
        QVERIFY(another.says("second"));
        QVERIFY(next.says("show"));
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
