#include "cloud/velmorcloudclient.h"
#include "tests/support/testbroker.h"
#include "tests/support/testclock.h"
#include "tests/support/testmain.h"

#include <QSocketNotifier>
#include <QSslConfiguration>
#include <QSslKey>

#include <qmqtt.h>

#include <csignal>
#include <iostream>
#include <memory>
#include <random>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

constexpr int payloadSize = 1500;  // bytes
constexpr int maxUnwritten = 1500; // states: a second's, and half a second for a late timer
constexpr int maxUnderWay = VelmorCloudClient::maxInFlight / payloadSize + 1; // states

// The other process: publishes the states from `number` on, at most a thousand in a second, until
// its input ends. Reports each before, with the count of those that wait.
int publishStates(quint16 port, int number)
{
    VelmorCloudClient client;
    client.start("gateway", 10000, "localhost", port);
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, [&] {
        std::cout << number << ' ' << client.pendingCount() << std::endl;
        client.publish("g", QByteArray::number(number++).rightJustified(payloadSize));
    });
    timer.start(1);
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, [] {
        char byte = 0;
        if (read(STDIN_FILENO, &byte, 1) == 1) {
            testclock::advance(11s); // the next attempt to connect is due
        } else {
            QCoreApplication::quit();
        }
    });
    return QCoreApplication::exec();
}

} // namespace

// Real processes that are killed: the broker, and a gateway that publishes numbered states.
class TestOutages : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QString error;
        const TestBroker::Credentials issued = m_broker.issue("localhost");
        QVERIFY(CredentialStore().storeIssuedCredentials(issued.cert, issued.key, error));
        m_tls.setCaCertificates(QSslCertificate::fromPath(m_broker.caFile()));
        m_tls.setLocalCertificate(CredentialStore().certificate());
        m_tls.setPrivateKey(CredentialStore().key());
        QVERIFY(m_broker.start()); // takes a port
        m_broker.kill();
        m_gateway.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        connect(&m_gateway, &QProcess::readyReadStandardOutput, this, &TestOutages::readReports);
    }

    void cleanup()
    {
        m_gateway.kill();
        m_gateway.waitForFinished();
        m_broker.kill();
        m_subscriber.reset(); // what it has not read yet must not count in the next test
        QDir(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation)).remove("outbox.db");
        m_expected = m_published;
        m_lost.clear();
        m_maxRepeated = 0;
    }

    void whatWaitsOutlastsTheProcess()
    {
        startGateway();
        QVERIFY(
            waitForMore(m_published, 1800 + upTo(700))); // more than 4 MiB would be written at once
        for (const End end : {Killed, KilledAtExit, KilledAtExit, KilledAtExit, Killed, Clean}) {
            QVERIFY(restartGateway(end));
            QVERIFY(waitForMore(m_published, upTo(300)));
        }
        QVERIFY(startBroker());
        for (int i = 0; i < 3; ++i) {
            QVERIFY(catchUp());
            QVERIFY(restartGateway(Clean));
        }
        QVERIFY(catchUp());
        QCOMPARE(m_lost - m_mayBeLost, QSet<int>());
        QCOMPARE(m_maxRepeated, 0);
    }

    void aKilledProcessRepeatsOnlyWhatWasUnderWay()
    {
        startGateway();
        QVERIFY(waitForMore(m_published, 3000));
        QVERIFY(startBroker());
        for (const End end : {Killed, Killed, Killed, KilledAtExit, KilledAtExit, Clean}) {
            QVERIFY(waitForMore(m_expected, upTo(200)));
            QVERIFY(restartGateway(end));
        }
        QVERIFY(catchUp());
        QCOMPARE(m_lost - m_mayBeLost, QSet<int>());
        QVERIFY(m_maxRepeated <= maxUnderWay);
    }

    void aKilledBrokerLosesNothingThatWaited()
    {
        startGateway();
        QVERIFY(startBroker());
        for (const bool hangs : {true, false, true, false}) {
            QVERIFY(catchUp());
            QVERIFY(waitForMore(m_published, upTo(200)));
            if (hangs) {
                QVERIFY(sendSignal(m_broker.processId(), SIGSTOP));
                QVERIFY(waitForMore(m_published, 500));
            }
            QVERIFY(killBroker(0));
            QVERIFY(waitForMore(m_published, 1000));
            const int waiting = m_published;
            QVERIFY(startBroker());
            QVERIFY(waitForMore(m_expected, upTo(400)));
            QVERIFY(killBroker(waiting));
            QVERIFY(waitForMore(m_published, upTo(200)));
            QVERIFY(startBroker());
        }
        QVERIFY(catchUp());
        QCOMPARE(m_lost - m_mayBeLost, QSet<int>());
        QVERIFY(m_maxRepeated <= maxUnderWay);
    }

private:
    enum End { Clean, Killed, KilledAtExit };

    int upTo(int max) { return 1 + int(m_random() % unsigned(max)); }

    static bool sendSignal(qint64 process, int signal)
    {
        return process > 0 && ::kill(pid_t(process), signal) == 0; // 0 would be our own group
    }

    void startGateway()
    {
        m_gateway.start(
            QCoreApplication::applicationFilePath(),
            {"publish", QString::number(m_broker.port()), QString::number(m_published)});
    }

    bool restartGateway(End end)
    {
        if (end != Killed) {
            m_gateway.closeWriteChannel();
        }
        if (end == KilledAtExit) {
            usleep(unsigned(upTo(20000)));
        }
        if (end != Clean) {
            m_gateway.kill();
        }
        const bool ended = m_gateway.waitForFinished();
        if (end == Clean && m_gateway.exitStatus() != QProcess::NormalExit) {
            return false;
        }
        allowLoss(end == Clean ? m_published : m_published - maxUnwritten, m_published);
        startGateway();
        return ended;
    }

    // The gateway connects after the subscriber.
    bool startBroker()
    {
        const qint64 gateway = m_gateway.processId();
        const bool stopped = sendSignal(gateway, SIGSTOP);
        m_subscriber = std::make_unique<QMQTT::Client>("localhost", m_broker.port(), m_tls);
        connect(m_subscriber.get(), &QMQTT::Client::connected, this,
                [this] { m_subscriber->subscribe("things/g/state"); });
        connect(m_subscriber.get(), &QMQTT::Client::subscribed, this, [this] { ++m_subscribed; });
        connect(m_subscriber.get(), &QMQTT::Client::disconnected, this,
                [this] { ++m_disconnected; });
        connect(m_subscriber.get(), &QMQTT::Client::received, this, &TestOutages::record);
        const bool started = m_broker.restart();
        m_subscriber->connectToHost();
        const bool subscribed = started && waitForMore(m_subscribed, 1);
        const bool continued = sendSignal(gateway, SIGCONT);
        m_gateway.write("r");
        return stopped && subscribed && continued;
    }

    // States before this number wait in the outbox and must not be lost. Those that were sent
    // without waiting may be.
    bool killBroker(int waiting)
    {
        m_broker.kill();
        const bool ended = waitForMore(m_disconnected, 1);
        allowLoss(qMax(waiting, m_expected), m_expected + maxUnderWay);
        return ended;
    }

    void allowLoss(int begin, int end)
    {
        for (int number = begin; number < end; ++number) {
            m_mayBeLost.insert(number);
        }
    }

    void readReports()
    {
        while (m_gateway.canReadLine()) {
            const QList<QByteArray> report = m_gateway.readLine().split(' ');
            m_published = report.at(0).toInt() + 1;
            m_confirmed = report.at(1).toInt() == 0 ? m_published : m_confirmed;
        }
    }

    void record(const QMQTT::Message &message)
    {
        const int number = message.payload().trimmed().toInt();
        m_maxRepeated = qMax(m_maxRepeated, m_expected - number);
        for (; m_expected < number; ++m_expected) {
            m_lost.insert(m_expected);
        }
        m_expected = number + 1;
    }

    // QTest::qWaitFor() would sleep while everything that waits goes out.
    static bool waitForMore(const int &number, int by)
    {
        const QDeadlineTimer deadline(60s);
        QTimer wake;
        wake.start(10);
        const int end = number + by;
        while (number < end && !deadline.hasExpired()) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        return number >= end;
    }

    // What was published until now has arrived, and nothing waits any more. The first report of a
    // process does not count: it may come before the connection.
    bool catchUp()
    {
        return waitForMore(m_confirmed, m_published - m_confirmed + 2) &&
               waitForMore(m_expected, m_confirmed - m_expected);
    }

    TestBroker m_broker;
    HostProcess m_gateway;
    QSslConfiguration m_tls = QSslConfiguration::defaultConfiguration();
    std::unique_ptr<QMQTT::Client> m_subscriber;
    std::mt19937 m_random{1};
    int m_subscribed = 0; // how often
    int m_disconnected = 0;
    int m_published = 0; // the number of the next state
    int m_confirmed = 0; // all states before this number
    int m_expected = 0;  // the number that should arrive next
    QSet<int> m_lost;
    QSet<int> m_mayBeLost;
    int m_maxRepeated = 0; // states at once
};

int main(int argc, char *argv[])
{
    if (argc == 4 && qstrcmp(argv[1], "publish") == 0) { // in the test's profile
        QCoreApplication::setOrganizationName("Corvalt");
        QCoreApplication::setApplicationName("KVG-Gate");
        const QCoreApplication app(argc, argv);
        return publishStates(quint16(atoi(argv[2])), atoi(argv[3]));
    }
    TestProfile profile;
    const QCoreApplication app(argc, argv);
    TestOutages test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_outages.moc"
