#include "cloud/topics.h"
#include "cloud/velmorcloudclient.h"
#include "tests/support/fakebroker.h"
#include "tests/support/testbroker.h"
#include "tests/support/testmain.h"

class TestVelmorCloudClient : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        m_issued = m_broker.issue("localhost");
        QString error;
        QVERIFY(CredentialStore().storeIssuedCredentials(m_issued.cert, m_issued.key, error));
    }

    void topicsMatchAsAWhole()
    {
        QCOMPARE(topics::idOfUpdate("things/things/x/update/update"), QString("things/x/update"));
        for (const char *const topic :
             {"things/update", "things/a/update/", "things/a\nb/update"}) {
            QVERIFY2(topics::idOfUpdate(topic).isNull(), topic);
        }
    }

    // Subscriptions first, then the backlog in its order, and nothing fresh in between.
    void theBacklogGoesOutBeforeAnythingFresh()
    {
        FakeBroker broker(m_issued.cert, m_issued.key);
        VelmorCloudClient client;
        QSignalSpy published(&client, &VelmorCloudClient::messagePublished);
        client.publish("t", QByteArray("1"));
        client.publish("t", QJsonObject{{"n", 2}});
        client.subscribe("u");
        connect(&client, &VelmorCloudClient::connectivityChanged, &client, [&](bool on) {
            if (on) {
                client.publish("t", QByteArray("3"));
            }
        });
        connect(&client, &VelmorCloudClient::messagePublished, &client, [&] {
            if (published.size() == 1) { // published while the backlog goes out
                client.publish("t", QByteArray("4"));
            }
        });
        // Ids that would cost everybody the connection.
        for (const QString &id : {QString("#"), QString("a/+/b"), QString(QChar(0)), QString("a\n"),
                                  QString(QChar(0xd800)), QString(250, '/'), QString(70000, 'x')}) {
            client.publish(id, QByteArray("x"));
            client.subscribe(id);
        }
        QCOMPARE(client.pendingCount(), 2);
        QVERIFY(client.start("me", 10, "localhost", broker.serverPort()));
        client.subscribe("u"); // start() begins without subscriptions
        QTRY_COMPARE(published.size(), 4);
        QTRY_COMPARE(broker.seen,
                     (QStringList{"connect me", "subscribe things/u/update",
                                  "publish things/t/state 1", "publish things/t/state {\"n\":2}",
                                  "publish things/t/state 3", "publish things/t/state 4"}));
        client.stop();
        QTRY_COMPARE(broker.seen.last(), QString("disconnect"));
    }

    // Only "server unavailable" (3) is asked again; the reconnection comes after ten seconds, and
    // that of the others would have come before it.
    void refusalsForGoodEndTheClient()
    {
        QObject owner;
        QList<FakeBroker *> brokers;
        for (const int code : {1, 2, 4, 5, 3}) {
            brokers.append(new FakeBroker(m_issued.cert, m_issued.key));
            brokers.last()->setParent(&owner);
            brokers.last()->refusal = code;
            auto *const client = new VelmorCloudClient(&owner);
            QVERIFY(client->start("me", 10, "localhost", brokers.last()->serverPort()));
            QTRY_COMPARE(client->lastError(), QString("unknown"));
        }
        const FakeBroker *const asked = brokers.takeLast();
        QTRY_COMPARE_WITH_TIMEOUT(asked->seen.size(), 2, 20000);
        for (const FakeBroker *const broker : qAsConst(brokers)) {
            QCOMPARE(broker->seen, QStringList{"connect me"});
        }
    }

    void aBrokerOfAnotherNameIsNotBelieved()
    {
        FakeBroker broker(m_issued.cert, m_issued.key);
        VelmorCloudClient client;
        QVERIFY(client.start("me", 10, "127.0.0.2", broker.serverPort()));
        QTRY_COMPARE(client.lastError(), QString("handshake failed"));
        QVERIFY(broker.seen.isEmpty());
    }

    void updatesArriveAndForeignTopicsDoNot()
    {
        FakeBroker broker(m_issued.cert, m_issued.key);
        VelmorCloudClient client;
        QSignalSpy received(&client, &VelmorCloudClient::messageReceived);
        QVERIFY(client.start("me", 10, "localhost", broker.serverPort()));
        QTRY_VERIFY(client.isConnected());
        broker.send(QByteArray("\x30\x11\x00\x0ethings/a/state1", 19));
        QTRY_COMPARE(client.lastError(),
                     QString("Received message from invalid topic things/a/state"));
        broker.send(QByteArray("\x30\x14\x00\x11things/a/b/update{", 22));
        QTRY_COMPARE(received.size(), 1);
        QCOMPARE(received.at(0), (QVariantList{"a/b", QByteArray("{")}));
    }

    void aStalledLinkHoldsBackAndLosesNothing()
    {
        FakeBroker broker(m_issued.cert, m_issued.key);
        VelmorCloudClient client;
        QVERIFY(client.start("me", 10, "localhost", broker.serverPort()));
        QTRY_VERIFY(client.isConnected());
        broker.pause();
        const int count = 3000;
        const QByteArray filler(8000, 'x');
        for (int i = 0; i < count; ++i) { // far more than all buffers of the system take
            client.publish("t", QByteArray::number(i) + filler);
        }
        QTRY_VERIFY(client.pendingCount() > count / 10);
        broker.goOn();
        QTRY_COMPARE_WITH_TIMEOUT(broker.seen.size(), count + 1, 30000);
        for (int i = 0; i < count; ++i) {
            const QString start = QStringLiteral("publish things/t/state %1x").arg(i);
            QVERIFY2(broker.seen.at(i + 1).startsWith(start), qPrintable(start));
        }
    }

    void stopKeepsTheBacklogAndForgetsTheSubscriptions()
    {
        FakeBroker broker(m_issued.cert, m_issued.key);
        VelmorCloudClient client;
        QSignalSpy connectivity(&client, &VelmorCloudClient::connectivityChanged);
        QVERIFY(client.start("me", 10, "localhost", broker.serverPort()));
        client.subscribe("u");
        QTRY_COMPARE(broker.seen.size(), 2);
        client.stop();
        client.stop();
        QCOMPARE(connectivity.size(), 2);
        client.publish("t", QByteArray("kept"));
        broker.seen.clear();
        QVERIFY(client.start("me", 10, "localhost", broker.serverPort()));
        QTRY_COMPARE(broker.seen, (QStringList{"connect me", "publish things/t/state kept"}));
    }

    // States that were published while the broker was away arrive in order.
    void aKilledBrokerCostsNothingPublishedMeanwhile()
    {
        QVERIFY(m_broker.start());
        VelmorCloudClient client;
        QSignalSpy connectivity(&client, &VelmorCloudClient::connectivityChanged);
        QVERIFY(client.start("me", 10, "localhost", m_broker.port()));
        QTRY_VERIFY(client.isConnected());
        QTimer load;
        int sent = 0;
        connect(&load, &QTimer::timeout, &client,
                [&] { client.publish("t", QByteArray::number(sent++)); });
        load.start(1);
        QTRY_VERIFY(sent > 50);
        m_broker.kill();
        QTRY_COMPARE(connectivity.last(), QVariantList{false});
        const int lostFrom = sent;
        QTRY_VERIFY_WITH_TIMEOUT(sent > lostFrom + 500, 30000);
        QVERIFY(m_broker.start());

        HostProcess watcher;
        watcher.start("mosquitto_sub",
                      m_broker.clientArguments(m_issued, {"-t", "things/t/state"}));
        QVERIFY(watcher.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(client.isConnected(), 30000);
        load.stop();
        QByteArray output;
        QTRY_VERIFY_WITH_TIMEOUT(
            (output += watcher.readAll()).endsWith(QByteArray::number(sent - 1) + '\n'), 20000);
        QList<QByteArray> lines = output.trimmed().split('\n');
        QVERIFY2(lines.first().toInt() <= lostFrom, lines.first().constData());
        for (int i = 1; i < lines.size(); ++i) {
            QCOMPARE(lines.at(i).toInt(), lines.at(i - 1).toInt() + 1);
        }
        watcher.kill();
        watcher.waitForFinished();
    }

private:
    TestBroker m_broker;
    TestBroker::Credentials m_issued;
};

KVG_TEST_MAIN(TestVelmorCloudClient)
#include "tst_velmorcloudclient.moc"
