#include "tests/support/testbroker.h"
#include "tests/support/testclock.h"
#include "tests/support/testmain.h"

#include <QSslKey>
#include <QSslSocket>
#include <QTcpServer>

#include <qmqtt.h>

using namespace QMQTT;
using namespace std::chrono_literals;

namespace {

// A broker without TLS for one client. It sends an accepting CONNACK or nothing; the test writes
// the rest. It reads nothing while the read buffer of `peer` has the size 1.
struct FakeBroker : QTcpServer
{
    explicit FakeBroker(bool accepts = true)
    {
        listen(QHostAddress::LocalHost);
        connect(this, &QTcpServer::newConnection, this, [this, accepts] {
            peer = nextPendingConnection();
            connect(peer, &QTcpSocket::readyRead, this, [this] {
                received += peer->readBufferSize() == 1 ? QByteArray() : peer->readAll();
            });
            peer->write(QByteArray::fromHex(accepts ? "20020000" : ""));
        });
    }
    QTcpSocket *peer = nullptr;
    QByteArray received;
};

} // namespace

class TestQmqtt : public QObject
{
    Q_OBJECT

signals:
    void emitted();

private slots:
    void initTestCase()
    {
        QVERIFY(m_broker.start());
        const TestBroker::Credentials own = m_broker.issue("gateway");
        m_config.setCaCertificates(QSslCertificate::fromPath(m_broker.caFile()));
        m_config.setLocalCertificate(QSslCertificate(own.cert));
        m_config.setPrivateKey(QSslKey(own.key, QSsl::Rsa));
    }

    void messagesArriveUnchanged()
    {
        Client client("localhost", m_broker.port(), m_config);
        client.connectToHost();
        QTRY_VERIFY(client.isConnectedToHost());
        client.subscribe("a/#", 2);
        QList<int> sizes = {0, 1, 1024 * 1024, 3, 65536};
        // The headers take 17 to 20 bytes, 15 of which count in the remaining length.
        for (int head = 14; head <= 20; ++head) {
            sizes << 127 - head << 16384 - head << 2 * 16384 - head << 2097152 - head;
        }
        for (quint8 qos = 0; qos <= 2; ++qos) {
            QSignalSpy published(&client, &Client::published);
            QSignalSpy received(&client, &Client::received);
            QList<Message> sent;
            for (const int size : qos == 0 ? sizes : sizes.mid(0, 5)) {
                const QByteArray sample = QByteArray::number(size) + QByteArray("\0\xff 56789", 8);
                sent << Message(4711, QStringLiteral("a/\u00e4/\U0001F321/\uFEFF"),
                                sample.repeated(size / 9 + 1).left(size), qos);
                QVERIFY(client.publish(sent.last()) != 0);
            }
            QTRY_COMPARE_WITH_TIMEOUT(received.size(), sent.size(), 60000);
            QTRY_COMPARE(published.size(), sent.size());
            for (const Message &message : qAsConst(sent)) {
                auto arrived = received.takeFirst().first().value<Message>();
                arrived.setId(message.id());
                QVERIFY2(arrived == message, message.payload().left(7).data());
            }
        }
    }

    void invalidMessagesAreNotSentAndDisconnectingSendsTheRest()
    {
        FakeBroker broker;
        Client client(QHostAddress::LocalHost, broker.serverPort());
        client.setVersion(V3_1_1);
        client.setClientId("id");
        client.setUsername(QStringLiteral("\u00fc"));
        client.connectToHost();
        QTRY_COMPARE(broker.received.toHex(), "101200044d5154540482012c000269640002c3bc");
        QTRY_VERIFY(client.isConnectedToHost());
        broker.received.clear();
        for (const QString &topic : {QString(), QString("a#"), QString("#/a"), QString("a+/b"),
                                     QString::fromLatin1("a\0b", 3), QString(QChar(0xd800)),
                                     QString(65536, 'a'), QString(32768, QChar(0xe4))}) {
            QCOMPARE(client.publish(Message(0, topic, "x")), quint16(0));
            client.subscribe(topic);
        }
        QCOMPARE(client.publish(Message(0, "a", "x", 3)), quint16(0));
        // Rejected by its size: the payload is never read.
        QCOMPARE(client.publish({0, "a", QByteArray::fromRawData("x", 268435453)}), quint16(0));
        client.publish(Message(0, "t", "p"));
        QTRY_COMPARE(broker.received, QByteArray::fromHex("300400017470"));

        const int large = 8 << 20; // more than the system's buffers take at once
        client.publish(Message(0, "t", QByteArray(large, 'x')));
        client.disconnectFromHost();
        QCOMPARE(client.publish(Message(0, "t", "after the end")), quint16(0));
        QTRY_VERIFY(broker.received.size() > large && broker.received.endsWith({"\xe0\0", 2}));
    }

    void malformedPacketsEndTheConnection()
    {
        // Before an accepted CONNACK: PUBLISH, PINGRESP, HTTP, odd CONNACKs
        const QByteArrayList early = {"300400016178", "d000",     "485454502f312e31",
                                      "2003000000",   "21020000", "20020200"};
        const QByteArrayList late = {
            // A second CONNACK, and what no broker sends
            "20020000", "0000", "f000", "8206000100016100",
            // Remaining lengths: of five bytes, above the limit, wrong for the type
            "30ffffffff01", "3081808008", "300100", "400100", "900400010000", "90020001", "d00100",
            // Quality of service 3, reserved flags
            "36050001610001", "60020001",
            // Topics: empty, longer than the packet, wildcards, NUL
            "3003000078", "30050009616263", "300400026123", "300400022b61", "300400026100",
            // Topics: not UTF-8, cut short, overlong, a surrogate
            "30040002c328", "3004000261c3", "30040002c080", "30050003eda080",
            // Packet ids: missing, zero
            "32050003616263", "32050001610000", "62020000",
            // Unexpected acknowledgements, and wrong ones for the SUBSCRIBE
            "40020009", "50020009", "70020009", "9003000900", "9003000103", "40020001", "b0020001"};
        for (const QByteArray &hex : early + late) {
            const bool connackSent = late.contains(hex);
            for (const int piece : {1, 1000}) {
                FakeBroker broker(connackSent);
                Client client(QHostAddress::LocalHost, broker.serverPort());
                client.setVersion(V3_1_1);
                QSignalSpy failed(&client, &Client::error);
                QSignalSpy received(&client, &Client::received);
                client.connectToHost();
                QTRY_VERIFY(!broker.received.isEmpty() &&
                            client.isConnectedToHost() == connackSent);
                client.subscribe("a"); // gets the packet id 1
                const QByteArray bytes = QByteArray::fromHex(hex);
                for (int i = 0; i < bytes.size() && broker.peer->isOpen(); i += piece) {
                    broker.peer->write(bytes.mid(i, piece));
                    broker.peer->flush();
                    QCoreApplication::processEvents();
                }
                QTRY_VERIFY2(!client.findChild<QTcpSocket *>()->isOpen(), hex.data());
                QVERIFY2(failed.size() == 1 && received.isEmpty(), hex.data());
            }
        }
    }

    void unsentAcknowledgementsAreLimited()
    {
        FakeBroker broker;
        Client client(QHostAddress::LocalHost, broker.serverPort());
        int received = 0;
        connect(&client, &Client::received, this, [&received] { ++received; });
        client.connectToHost();
        QTRY_VERIFY(client.isConnectedToHost());
        broker.peer->setReadBufferSize(1);
        // More acknowledgements than the system's buffers and the client's limit together.
        const QByteArray messages = QByteArray::fromHex("32050001610001").repeated(10000);
        for (int i = 0; i < 1500 && broker.peer->bytesToWrite() < 32 << 20; ++i) {
            broker.peer->write(messages);
            QCoreApplication::processEvents();
            QVERIFY(client.findChild<QTcpSocket *>()->bytesToWrite() < 24 << 20);
        }
        QVERIFY(broker.peer->bytesToWrite() > 0);
        const int before = received;
        broker.peer->setReadBufferSize(0);
        broker.peer->readAll();
        QTRY_VERIFY(received > before); // continues once the broker reads again
    }

    void aSilentBrokerTimesOut()
    {
        FakeBroker silent;
        Client client(QHostAddress::LocalHost, silent.serverPort());
        client.setKeepAlive(2);
        QSignalSpy failed(&client, &Client::error);
        client.connectToHost();
        QTRY_VERIFY(client.isConnectedToHost());
        // A client that keeps sending must notice, too.
        for (int i = 0; i < 50 && failed.isEmpty(); ++i) {
            client.publish({0, "t", "x"});
            testclock::advance(200ms);
            QCoreApplication::processEvents();
        }
        QCOMPARE(failed.value(0).value(0).value<ClientError>(), MqttNoPingResponse);
        FakeBroker withoutConnack(false);
        client.setPort(withoutConnack.serverPort());
        client.connectToHost();
        QTRY_VERIFY(!withoutConnack.received.isEmpty());
        testclock::advance(32s);
        QTRY_COMPARE(failed.value(1).value(0).value<ClientError>(), SocketTimeoutError);
    }

    // The handler reconnects at the first signal and deletes the client at the second.
    void handlersMayReconnectOrDeleteTheClient()
    {
        for (const char *const signal :
             {SIGNAL(connected()), SIGNAL(disconnected()), SIGNAL(error(QMQTT::ClientError)),
              SIGNAL(published(QMQTT::Message, quint16)), SIGNAL(received(QMQTT::Message)),
              SIGNAL(sslErrors(QList<QSslError>))}) {
            const QString name = signal;
            const auto config = name.contains("sslErrors") ? QSslConfiguration() : m_config;
            auto *const client = new Client("localhost", m_broker.port(), config, false, this);
            // The broker rejects version 7.
            client->setVersion(name.contains("error") ? MQTTVersion(7) : V3_1_1);
            QVERIFY(connect(client, signal, this, SIGNAL(emitted())));
            connect(this, &TestQmqtt::emitted, client, [client, isSecond = false]() mutable {
                if (std::exchange(isSecond, true)) {
                    client->deleteLater();
                    return;
                }
                client->disconnectFromHost();
                client->connectToHost();
                client->connectToHost();
            });
            connect(client, &Client::connected, client, [client] {
                client->subscribe("self");
                client->publish(Message(0, "self", "1"));
            });
            if (name.contains("disconnected")) {
                connect(client, &Client::received, client, &Client::disconnectFromHost);
            }
            client->connectToHost();
            QTRY_VERIFY2(findChildren<Client *>().isEmpty(), signal);
        }
    }

private:
    TestBroker m_broker;
    QSslConfiguration m_config;
};

KVG_TEST_MAIN(TestQmqtt)
#include "tst_qmqtt.moc"
