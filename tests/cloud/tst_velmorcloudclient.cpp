#include "cloud/velmorcloudclient.h"
#include "settings/settingsstore.h"
#include "tests/support/fakebroker.h"
#include "tests/support/testbroker.h"
#include "tests/support/testclock.h"
#include "tests/support/testmain.h"

using namespace std::chrono_literals;

class TestVelmorCloudClient : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QString error;
        QVERIFY(CredentialStore().storeIssuedCredentials(m_issued.cert, m_issued.key, error));
    }

    // Subscriptions first, then the pending messages in their order, then new ones.
    void pendingMessagesAreSentBeforeNewOnes()
    {
        FakeBroker broker(m_issued.cert, m_issued.key);
        VelmorCloudClient client;
        QSignalSpy connectivity(&client, &VelmorCloudClient::connectivityChanged);
        QSignalSpy published(&client, &VelmorCloudClient::messagePublished);
        client.publish("t", QByteArray("1"));
        client.publish("t", QJsonObject{{"n", 2}});
        client.subscribe("u");
        connect(&client, &VelmorCloudClient::connectivityChanged, &client,
                [&] { client.publish("t", QByteArray("3")); });
        connect(&client, &VelmorCloudClient::messagePublished, &client, [&] {
            if (published.size() == 1) { // while pending messages are sent
                client.publish("t", QByteArray("4"));
            }
        });
        // Ids for which a broker would end the connection.
        for (const QString &id : {QString("#"), QString("a/+/b"), QString(QChar(0)), QString("a\n"),
                                  QString(QChar(0xd800)), QString(250, '/'), QString(70000, 'x')}) {
            client.publish(id, QByteArray("x"));
            client.subscribe(id);
        }
        QCOMPARE(client.pendingCount(), 2);
        client.publish("void", QByteArray("x"));
        client.publish("void/too", QByteArray("x"));
        client.discardPending({"t", "another"});
        QVERIFY(client.start("me", 10, "localhost", broker.serverPort()));
        client.subscribe("u"); // start() clears the subscriptions
        QTRY_COMPARE(published.size(), 4);
        QTRY_COMPARE(broker.seen,
                     (QStringList{"connect me", "subscribe things/u/update",
                                  "publish things/t/state 1", "publish things/t/state {\"n\":2}",
                                  "publish things/t/state 3", "publish things/t/state 4"}));
        QTRY_COMPARE(client.pendingCount(), 0); // confirmed
        const int confirmed = broker.confirmed;
        client.publish("t", QByteArray("5"));
        client.stop();
        QCOMPARE(broker.confirmed, confirmed + 1); // before the connection was closed
        client.stop();
        QTRY_COMPARE(broker.seen.last(), QString("disconnect"));
        QCOMPARE(connectivity.size(), 2);
        QCOMPARE(client.pendingCount(), 1); // published by the handler when the connection ended
        client.discardPending();
        client.publish("t", QByteArray("kept"));
        broker.seen.clear();
        QVERIFY(client.start("me", 0, "localhost", broker.serverPort()));
        QTRY_COMPARE(broker.seen, (QStringList{"connect me", "publish things/t/state kept",
                                               "publish things/t/state 3"}));
        QCOMPARE(broker.keepAlive, 120);
    }

    void theSettingsLimitWhatWaits()
    {
        SettingsStore().set(keys::QueueSize, 1);
        VelmorCloudClient client;
        for (int i = 0; i < 100; ++i) {
            client.publish("t", QByteArray(100 * 1024, 'x'));
        }
        QVERIFY(client.pendingCount() < 80);
        SettingsStore().set(keys::QueueSize, 256);
        client.discardPending();
        QCOMPARE(client.pendingCount(), 0);
    }

    void stopLogsASocketThatClosesAtTheLastCheckOnly()
    {
        if (!testclock::canAdvance()) {
            QSKIP("The time cannot be moved here.");
        }
        static int messages = 0;
        const auto before = qInstallMessageHandler(
            [](QtMsgType type, const QMessageLogContext &, const QString &text) {
                messages += type == QtCriticalMsg && text == "Could not stop MQTT client";
            });
        for (const auto &[closesAfter, expected] :
             {std::pair(1100ms, 0), {2400ms, 1}, {5000ms, 0}}) {
            FakeBroker broker(m_issued.cert, m_issued.key);
            VelmorCloudClient client;
            QVERIFY(client.start("me", 10, "localhost", broker.serverPort()));
            QTRY_VERIFY(client.isConnected());
            broker.pauseReading();
            client.publish("t", QByteArray(8'000'000, 'x')); // DISCONNECT waits behind it
            messages = 0;
            QTimer time;
            connect(&time, &QTimer::timeout, &broker, [] { testclock::advance(2ms); });
            time.start(0);
            QTimer::singleShot(closesAfter, Qt::PreciseTimer, broker.client,
                               [&broker] { broker.client->abort(); });
            client.stop();
            QCOMPARE(messages, expected);
        }
        qInstallMessageHandler(before);
    }

    void failuresHaveTextsAndAreLoggedOnce()
    {
        VelmorCloudClient client;
        static int logged = 0;
        const auto before = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &, const QString &) { ++logged; });
        QStringList texts;
        for (int i = 0; i < 50; ++i) { // each twice
            QMetaObject::invokeMethod(&client, "client_error", Q_ARG(int, i % 25));
            texts += client.lastError();
        }
        qInstallMessageHandler(before);
        QCOMPARE(logged, 25);
        QCOMPARE(
            texts.mid(25).join(", "),
            QString("unknown, connection refused, connection closed by remote host, host not "
                    "found, access error, resource error, timeout, packet too big, network "
                    "error, address in use, address is not available, socket operation is not "
                    "supported, unfinished socket operation, authentication required, "
                    "handshake failed, connection refused, proxy connection closed, proxy "
                    "connection timeout, proxy not found, proxy protocol error, socket "
                    "operation error, ssl error, invalid user data, temporary error, unknown"));
        QVERIFY(!client.start("", 10, "localhost", 1));
        QCOMPARE(client.lastError(), QString("clientid cannot be empty"));
    }

    // Only "server unavailable" (3) is retried, after ten seconds.
    void finalRejectionsEndTheClient()
    {
        QObject owner;
        QList<FakeBroker *> brokers;
        for (const int code : {1, 2, 4, 5, 3}) {
            brokers.append(new FakeBroker(m_issued.cert, m_issued.key));
            brokers.last()->setParent(&owner);
            brokers.last()->connackCode = code;
            auto *const client = new VelmorCloudClient(&owner);
            QVERIFY(client->start("me", 10, "localhost", brokers.last()->serverPort()));
            QTRY_COMPARE(client->lastError(), QString("unknown"));
        }
        FakeBroker *const asked = brokers.takeLast();
        QTRY_VERIFY(asked->client.isNull() || asked->client->state() != QTcpSocket::ConnectedState);
        QSignalSpy attempt(asked, &QTcpServer::newConnection);
        testclock::advance(9s);
        QVERIFY(!attempt.wait(100));
        testclock::advance(1500ms); // coarse: 5 percent
        QTRY_COMPARE_WITH_TIMEOUT(asked->seen.size(), 2, 20000);
        for (const FakeBroker *const broker : qAsConst(brokers)) {
            QCOMPARE(broker->seen, QStringList{"connect me"});
        }
    }

    void aBrokerOfAnotherNameOrAuthorityIsRejected()
    {
        const TestBroker::Credentials own = TestBroker().selfSigned();
        for (const auto &[shown, host] : {std::pair(m_issued, "127.0.0.2"), {own, "localhost"}}) {
            FakeBroker broker(shown.cert, shown.key);
            VelmorCloudClient client;
            QVERIFY(client.start("me", 10, host, broker.serverPort()));
            QTRY_COMPARE(client.lastError(), QString("handshake failed"));
            QVERIFY(broker.seen.isEmpty());
        }
    }

    void updatesArriveAndAStalledConnectionLosesNothing()
    {
        FakeBroker broker(m_issued.cert, m_issued.key);
        VelmorCloudClient client;
        QSignalSpy received(&client, &VelmorCloudClient::messageReceived);
        QVERIFY(client.start("me", 10, "localhost", broker.serverPort()));
        QTRY_VERIFY(client.isConnected());
        for (const QByteArray topic :
             {"things/a/state", "things/update", "things/a/update/", "things/a\nb/update"}) {
            broker.publish(topic, "1");
            QTRY_COMPARE(client.lastError(), "Received message from invalid topic " + topic);
        }
        broker.publish("things/things/x/update/update", "{");
        QTRY_COMPARE(received.value(0), (QVariantList{"things/x/update", QByteArray("{")}));

        broker.pauseReading();
        const int count = 3000;
        for (int i = 0; i < count; ++i) { // far more than the system's buffers
            client.publish("t", QByteArray::number(i) + QByteArray(8000, 'x'));
        }
        QTRY_VERIFY(client.pendingCount() > count / 10);
        broker.resumeReading();
        QTRY_COMPARE_WITH_TIMEOUT(broker.seen.size(), count + 1, 30000);
        for (int i = 0; i < count; ++i) {
            QVERIFY(broker.seen.at(i + 1).startsWith(QString("publish things/t/state %1x").arg(i)));
        }
    }

    void statesPublishedDuringAnOutageArriveInOrder()
    {
        FakeBroker broker(m_issued.cert, m_issued.key);
        const quint16 port = broker.serverPort();
        VelmorCloudClient client;
        QVERIFY(client.start("me", 10, "localhost", port));
        QTRY_VERIFY(client.isConnected());
        QTimer load;
        int sent = 0;
        connect(&load, &QTimer::timeout, &client,
                [&] { client.publish("t", QByteArray::number(sent++)); });
        load.start(1);
        QTRY_VERIFY(sent > 50);
        broker.close();
        broker.client->abort();
        QTRY_VERIFY(!client.isConnected());
        broker.seen.clear();
        const int lostFrom = sent;
        QTRY_VERIFY_WITH_TIMEOUT(sent > lostFrom + 100, 30000);
        QVERIFY(broker.listen(QHostAddress::Any, port));
        testclock::advance(10s);
        QTRY_VERIFY_WITH_TIMEOUT(client.isConnected(), 30000);
        load.stop();
        const QString message = "publish things/t/state %1";
        QTRY_COMPARE(broker.seen.last(), message.arg(sent - 1));
        int next = broker.seen.at(1).section(' ', -1).toInt();
        QVERIFY2(next <= lostFrom, qPrintable(broker.seen.at(1)));
        for (const QString &seen : broker.seen.mid(1)) {
            QCOMPARE(seen, message.arg(next++));
        }
    }

private:
    const TestBroker::Credentials m_issued = TestBroker().issue("localhost");
};

KVG_TEST_MAIN(TestVelmorCloudClient)
#include "tst_velmorcloudclient.moc"
