#include "check/connectioncheck.h"
#include "cloud/credentialstore.h"
#include "cloud/velmorcloudclient.h"
#include "settings/settingsstore.h"
#include "tests/support/fakebroker.h"
#include "tests/support/fakeregistrar.h"
#include "tests/support/files.h"
#include "tests/support/testbroker.h"
#include "tests/support/testclock.h"
#include "tests/support/testmain.h"
#include "things/gatewaything.h"

using namespace std::chrono_literals;

class TestConnectionCheck : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(m_broker.start());
        m_good = m_broker.issue("gateway");
    }
    void init()
    {
        QString error;
        QVERIFY(CredentialStore().storeIssuedCredentials(m_good.cert, m_good.key, error));
        m_registrar.head = answer("200 OK", QDateTime::currentDateTimeUtc());
        SettingsStore store;
        store.set(keys::CloudHost, QString("localhost"));
        store.set(keys::CloudPort, quint32(m_broker.port()));
        store.set(keys::RegistrarEndpoint, m_registrar.url());
        store.set(keys::QueueSize, 1);
        m_gateway = std::make_unique<GatewayThing>();
        m_gateway->setRegid("G");
        m_check = std::make_unique<ConnectionCheck>(*m_gateway);
        connect(m_check.get(), &ConnectionCheck::stepChanged, this, [this](const CheckStep &step) {
            m_steps.resize(step.number + 1);
            m_steps[step.number] = step;
        });
        connect(m_check.get(), &ConnectionCheck::reconnectRequested, this,
                [this] { m_gateway->connectToCloud(false); });
    }

    void aGoodConnectionPassesAndALiveOneIsLeftAlone()
    {
        QCOMPARE(check(), "+++++++++");
        QVERIFY(m_gateway->isConnected());
        QSignalSpy disturbed(&m_gateway->client(), &VelmorCloudClient::linkChanged);
        QCOMPARE(check(), "+++++++++");
        QVERIFY(disturbed.isEmpty());
    }

    // Each row: what is wrong, how the steps end, and a word of what the first failure says.
    void faultsAreFoundAtTheirStep()
    {
        const auto strange = m_broker.selfSigned();
        FakeBroker foreign(strange.cert, strange.key);
        const auto own = m_broker.issue("localhost");
        FakeBroker rejecting(own.cert, own.key);
        rejecting.connackCode = 5;
        QTcpServer web;
        web.listen(QHostAddress::LocalHost);
        connect(&web, &QTcpServer::newConnection, this,
                [&web] { web.nextPendingConnection()->write("HTTP/1.1 400 Bad Request\r\n\r\n"); });
        quint16 closed = 0;
        {
            QTcpServer reservation;
            reservation.listen(QHostAddress::LocalHost);
            closed = reservation.serverPort();
        }
        const auto port = [](quint16 number) {
            return [number] { SettingsStore().set(keys::CloudPort, quint32(number)); };
        };
        const std::tuple<std::function<void()>, const char *, const char *> rows[] = {
            {[] { SettingsStore().set(keys::CloudHost, QString(" ")); }, "-   + +++", "host name"},
            {[] { SettingsStore().set(keys::CloudPort, 65536U); }, "-   + +++", "65535"},
            {[] { SettingsStore().set(keys::RegistrarEndpoint, QString("http://a.example/")); },
             "-+++++  +", "HTTPS"},
            {port(closed), "++- + +++", "No server"},
            {port(foreign.serverPort()), "+++-+ +++", "self-signed"},
            {port(web.serverPort()), "+++-+ +++", "TLS"},
            {port(rejecting.serverPort()), "+++++-+++", "rejects the registration"},
            {[this] { m_registrar.head = answer("503 No", {}); }, "++++++- +", "503"},
            {[this] { m_registrar.head = answer("200 OK", QDateTime(QDate(2000, 1, 1), {})); },
             "+++++++-+", "server"},
            {[] { SettingsStore().set(keys::QueueSize, 1 << 20); }, "++++++++-", "MB"},
            {[this] { m_gateway->setRegid({}); }, "++++  +++", ""},
            {[] { QFile::remove(CredentialStore().keyFilePath()); }, "++++- +++", "missing"},
        };
        for (const auto &[spoil, ends, word] : rows) {
            init();
            spoil();
            const QString found = check();
            QVERIFY2(found.startsWith(ends), qPrintable(found + " for " + ends));
            QVERIFY2(firstFailure().contains(word), qPrintable(firstFailure() + " for " + word));
        }
    }

    void aSilentServerIsGivenTenSecondsAndTheCheckCanBeCancelled()
    {
        if (!testclock::canAdvance()) {
            QSKIP("the clock cannot be advanced");
        }
        QTcpServer silent;
        silent.listen(QHostAddress::LocalHost);
        SettingsStore().set(keys::CloudPort, quint32(silent.serverPort()));
        m_check->start();
        QTRY_COMPARE(m_steps.size(), 4);
        testclock::advance(9s);
        QTest::qWait(50);
        QCOMPARE(ends(), "+++.");
        testclock::advance(1s);
        QTRY_VERIFY(ends().startsWith("+++-"));
        QSignalSpy finished(m_check.get(), &ConnectionCheck::finished);
        m_check->start();
        QTRY_COMPARE(ends(), "+++.");
        m_check->cancel();
        testclock::advance(60s);
        QTest::qWait(50);
        QCOMPARE(ends(), "+++.");
        QVERIFY(finished.isEmpty());
    }

private:
    static QByteArray answer(const QByteArray &status, const QDateTime &date)
    {
        const QString text = QLocale::c().toString(date, "ddd, dd MMM yyyy hh:mm:ss");
        return "HTTP/1.1 " + status + "\r\n" +
               (date.isValid() ? "Date: " + text.toLatin1() + " GMT\r\n" : QByteArray()) +
               "Connection: close\r\n\r\n";
    }
    // A sign for each step: + passed, - failed, blank skipped, . running.
    QString ends() const
    {
        QString signs;
        for (const CheckStep &step : m_steps) {
            signs += QLatin1Char(".+- "[step.status]);
        }
        return signs;
    }
    QString firstFailure() const
    {
        const auto failed = std::find_if(m_steps.begin(), m_steps.end(), [](const CheckStep &step) {
            return step.status == CheckStep::Failed;
        });
        return failed == m_steps.end() ? QString() : failed->seen;
    }
    QString check()
    {
        QSignalSpy finished(m_check.get(), &ConnectionCheck::finished);
        m_check->start();
        return finished.wait(30000) ? ends() : "no end after " + ends();
    }

    TestBroker m_broker;
    TestBroker::Credentials m_good;
    FakeRegistrar m_registrar;
    std::unique_ptr<GatewayThing> m_gateway;
    std::unique_ptr<ConnectionCheck> m_check;
    QVector<CheckStep> m_steps;
};

KVG_TEST_MAIN(TestConnectionCheck)
#include "tst_connectioncheck.moc"
