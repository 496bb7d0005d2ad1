#include "app/singleapphandler.h"
#include "tests/app/takenname.h"
#include "tests/support/testmain.h"

#include <QCryptographicHash>
#include <QDir>
#include <QLocalSocket>
#include <QProcess>
#include <QRegularExpression>
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
    // What killed processes left would stay in the system, and come up again below the key files of
    // another run.
    void cleanupTestCase()
    {
        QCoreApplication::setApplicationName("Guarded");
        QVERIFY(SingleAppHandler().isFirstInstance());
        for (const QByteArray &name :
             {QByteArray("Guarded"), "Guarded\n" + QDir::homePath().toUtf8()}) {
            // Whoever creates it removes it.
            const QSystemSemaphore memory(keyOf(name), 1, QSystemSemaphore::Create);
            const QSystemSemaphore turn(keyOf(name) + "_semaphore", 1, QSystemSemaphore::Create);
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
                QVERIFY(one.says("(first|second)"));
                first += one.said.contains("first") ? 1 : 0;
            }
            QCOMPARE(first, 1);
        }
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
};

KVG_TEST_MAIN(TestSingleAppHandler)
#include "tst_singleapphandler.moc"
