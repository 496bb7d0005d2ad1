#include "tests/support/testbroker.h"
#include "tests/support/testmain.h"

#include <QPointer>
#include <QSignalSpy>
#include <QSslKey>
#include <QSslSocket>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <qmqtt.h>

#include <functional>
#include <memory>

using QMQTT::Client;
using QMQTT::Message;

namespace {

const QByteArray accepted = QByteArray::fromHex("20020000");

// A broker that says what the test wants, to one client: `answer` to the first that it hears, and
// what the test writes.
class FakeBroker : public QTcpServer
{
public:
    explicit FakeBroker(const QByteArray &answer = accepted)
    {
        listen(QHostAddress::LocalHost);
        connect(this, &QTcpServer::newConnection, this, [this, answer] {
            peer = nextPendingConnection();
            connect(peer, &QTcpSocket::readyRead, this,
                    [this, once = QByteArray(answer)]() mutable {
                        if (reads) {
                            received += peer->readAll();
                            peer->write(std::exchange(once, {}));
                        }
                    });
        });
    }
    // Asked by sending, too: not every system tells by itself that the peer is gone.
    bool isLeft()
    {
        if (peer->state() == QAbstractSocket::ConnectedState) {
            peer->write("x");
            peer->flush();
        }
        return peer->state() == QAbstractSocket::UnconnectedState;
    }

    bool reads = true;
    QTcpSocket *peer = nullptr;
    QByteArray received; // from it
};

std::unique_ptr<Client> plainClient(quint16 port)
{
    auto client = std::make_unique<Client>(QHostAddress::LocalHost, port);
    client->setVersion(QMQTT::V3_1_1);
    return client;
}

} // namespace

class TestQmqtt : public QObject
{
    Q_OBJECT

public slots:
    void act()
    {
        if (const auto action = std::exchange(m_action, nullptr)) {
            action();
        }
    }

private slots:
    void initTestCase()
    {
        qRegisterMetaType<QMQTT::ClientError>("QMQTT::ClientError");
        qRegisterMetaType<QMQTT::Message>("QMQTT::Message");
        QVERIFY(m_tls.start());
        m_credentials = m_tls.issue("gateway");
    }

    void messagesMakeTheRoundTrip()
    {
        const auto client = newClient();
        client->setKeepAlive(1);
        QSignalSpy pinged(client.get(), &Client::pingresp);
        QSignalSpy published(client.get(), &Client::published);
        QSignalSpy received(client.get(), &Client::received);
        QVERIFY(establish(*client));
        client->subscribe("a/#", 2);
        for (quint8 qos = 0; qos <= 2; ++qos) {
            published.clear();
            received.clear();
            const Message message(4711, QStringLiteral("a/\u00e4/\U0001F321/\uFEFF"),
                                  QByteArray("\0\xff", 2), qos);
            const quint16 id = client->publish(message);
            QTRY_COMPARE(published.count(), 1);
            QCOMPARE(published[0][1].value<quint16>(), id);
            QTRY_COMPARE(received.count(), 1);
            const auto arrived = received[0][0].value<Message>();
            QCOMPARE(arrived.topic(), message.topic());
            QCOMPARE(arrived.payload(), message.payload());
            QCOMPARE(arrived.qos(), qos);
        }
        QTRY_VERIFY_WITH_TIMEOUT(pinged.count() >= 2, 30000); // silence is broken
    }

    // Around one more byte of length, one full TLS record, and what needs many reads.
    void payloadsOfAwkwardSizesArriveWhole()
    {
        const auto client = newClient();
        QVERIFY(establish(*client));
        QList<int> sizes = {0, 1, 1024 * 1024, 3, 65536};
        for (int less = 0; less < 10; ++less) {
            sizes << 127 - less << 16383 - less << 2 * 16384 - less << 2097151 - less;
        }
        QList<QByteArray> payloads;
        connect(client.get(), &Client::received, this,
                [&payloads](const Message &message) { payloads << message.payload(); });
        client->subscribe("s");
        const auto sample = [](int size) {
            return (QByteArray::number(size) + "0123456789ABC").repeated(size / 14 + 1).left(size);
        };
        for (const int size : qAsConst(sizes)) {
            QVERIFY(client->publish(Message(0, "s", sample(size))) != 0);
        }
        QTRY_COMPARE_WITH_TIMEOUT(payloads.size(), sizes.size(), 60000);
        for (int i = 0; i < sizes.size(); ++i) {
            QVERIFY2(payloads[i] == sample(sizes[i]), qPrintable(QString::number(sizes[i])));
        }
    }

    void whatWasPublishedGoesOutBeforeTheEnd()
    {
        FakeBroker broker;
        const auto client = plainClient(broker.serverPort());
        QVERIFY(establish(*client));
        const QByteArray end = QByteArray::fromHex("e000");
        const int large = 8 << 20; // more than the system's buffers take at once
        client->publish(Message(0, "t", QByteArray(large, 'x')));
        client->disconnectFromHost();
        QCOMPARE(client->publish(Message(0, "t", "after the end")), quint16(0));
        QTRY_VERIFY(broker.received.size() > large && broker.received.endsWith(end));
    }

    void whatTheStandardForbidsIsNotSent()
    {
        FakeBroker broker;
        const auto client = plainClient(broker.serverPort());
        client->setClientId("id");
        client->setUsername(QStringLiteral("\u00fc"));
        client->setPassword("p");
        QVERIFY(establish(*client));
        QCOMPARE(broker.received.toHex(),
                 QByteArray("101500044d51545404c2012c000269640002c3bc000170"));
        broker.received.clear();
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("quality of service"));
        QCOMPARE(client->publish(Message(0, "a", "x", 3)), quint16(0));
        // Nobody reads what is refused, so the memory need not be there.
        const char byte = 'x';
        const QByteArray large = QByteArray::fromRawData(&byte, 268435453);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("268435455 bytes"));
        QCOMPARE(client->publish(Message(0, "a", large)), quint16(0));
        for (const QString &topic :
             {QString(), QString("a/#"), QString("+/a"), QString::fromLatin1("a\0b", 3),
              QString(QChar(0xd800)), QString(65536, 'a'), QString(32768, QChar(0xe4))}) {
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^Not sent: "));
            QCOMPARE(client->publish(Message(0, topic, "x")), quint16(0));
        }
        for (const char *filter : {"", "a#", "#/a", "a+/b"}) {
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^Not sent: "));
            client->subscribe(filter);
        }
        client->publish(Message(0, "t", "p"));
        QTRY_COMPARE(broker.received, QByteArray::fromHex("300400017470"));
    }

    void aHostilePeerIsCutOff_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("greeted");
        // Before an accepted CONNACK: PUBLISH, PINGRESP, HTTP, odd CONNACKs.
        for (const char *hex :
             {"300400016178", "d000", "485454502f312e31", "2003000000", "21020000", "20020200"}) {
            QTest::addRow("early %s", hex) << QByteArray::fromHex(hex) << false;
        }
        for (const char *hex :
             {// A second CONNACK, and what no broker sends
              "20020000", "0000", "f000", "8206000100016100",
              // A length of five bytes, one above the bound, lengths that the type excludes
              "30ffffffff01", "3081808008", "300100", "400100", "900400010000", "90020001",
              "d00100",
              // Quality of service 3, reserved flags
              "36050001610001", "60020001",
              // Topics: empty, longer than the packet, wildcards, NUL
              "3003000078", "30050009616263", "300400026123", "300400022b61", "300400026100",
              // Topics: not UTF-8, cut short, overlong, a surrogate
              "30040002c328", "3004000261c3", "30040002c080", "30050003eda080",
              // Packet identifiers: no room for one, zero
              "32050003616263", "32050001610000", "62020000",
              // Answers to nothing, and of the wrong kind to the SUBSCRIBE
              "40020009", "50020009", "70020009", "9003000900", "9003000103", "40020001",
              "b0020001"}) {
            QTest::addRow("%s", hex) << QByteArray::fromHex(hex) << true;
        }
    }
    void aHostilePeerIsCutOff()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, greeted);
        for (const int piece : {1, 1000}) {
            FakeBroker broker(greeted ? accepted : QByteArray());
            const auto client = plainClient(broker.serverPort());
            QSignalSpy failed(client.get(), &Client::error);
            QSignalSpy received(client.get(), &Client::received);
            client->connectToHost();
            QTRY_VERIFY(!broker.received.isEmpty() && client->isConnectedToHost() == greeted);
            client->subscribe("a"); // as number 1
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression("broke the protocol"));
            for (int i = 0; i < bytes.size() && broker.peer->isOpen(); i += piece) {
                broker.peer->write(bytes.mid(i, piece));
                broker.peer->flush();
                QCoreApplication::processEvents();
            }
            QTRY_VERIFY(broker.isLeft());
            QCOMPARE(failed.count(), 1);
            QCOMPARE(failed[0][0].value<QMQTT::ClientError>(), QMQTT::SocketOperationError);
            QCOMPARE(received.count(), 0);
        }
    }

    void aBrokerThatNeverReadsFillsNoMemory()
    {
        FakeBroker broker;
        const auto client = plainClient(broker.serverPort());
        qint64 received = 0;
        connect(client.get(), &Client::received, this, [&received] { ++received; });
        QVERIFY(establish(*client));
        broker.reads = false;
        broker.peer->setReadBufferSize(1);
        // More acknowledgements than the system's buffers and the client's bound take together.
        const QByteArray messages = QByteArray::fromHex("32050001610001").repeated(10000);
        auto *const socket = client->findChild<QTcpSocket *>();
        for (int i = 0; i < 1500 && broker.peer->bytesToWrite() < 32 << 20; ++i) {
            broker.peer->write(messages);
            QCoreApplication::processEvents();
            QVERIFY(socket->bytesToWrite() < 24 << 20);
        }
        QVERIFY(broker.peer->bytesToWrite() > 0);
        const qint64 before = received;
        broker.reads = true;
        broker.peer->setReadBufferSize(0);
        broker.peer->readAll();
        QTRY_VERIFY(received > before); // goes on when the broker reads again
    }

    void aPeerThatSaysNothingIsGivenUp()
    {
        FakeBroker silent;
        const auto client = plainClient(silent.serverPort());
        client->setKeepAlive(1);
        QSignalSpy failed(client.get(), &Client::error);
        QVERIFY(establish(*client));
        QTimer talk; // also by one who never pauses
        connect(&talk, &QTimer::timeout, client.get(), [&] { client->publish({0, "t", "x"}); });
        talk.start(50);
        QTRY_COMPARE_WITH_TIMEOUT(failed.count(), 1, 30000);
        QCOMPARE(failed[0][0].value<QMQTT::ClientError>(), QMQTT::MqttNoPingResponse);

        FakeBroker mute((QByteArray()));
        client->setPort(mute.serverPort());
        client->connectToHost();
        auto *const deadline = client->findChild<QTimer *>("deadline");
        QTRY_VERIFY(deadline->isActive());
        deadline->start(0); // not half a minute
        QTRY_COMPARE(failed.count(), 2);
        QCOMPARE(failed[1][0].value<QMQTT::ClientError>(), QMQTT::SocketTimeoutError);
    }

    // The broker's chain ends with a self-signed root, which is not among the trusted ones here.
    void onlyATrustedBrokerIsBelieved()
    {
        QSslConfiguration config = configuration();
        config.setCaCertificates({});
        for (const auto &[forgiving, name] :
             {std::pair(false, "localhost"), {true, "localhost"}, {true, "elsewhere"}}) {
            const bool believed = forgiving && name == QByteArray("localhost");
            Client client("localhost", m_tls.port(), config, forgiving);
            client.findChild<QSslSocket *>()->setPeerVerifyName(name);
            QSignalSpy failed(&client, &Client::error);
            client.connectToHost();
            QTRY_VERIFY(client.isConnectedToHost() == believed && failed.isEmpty() == believed);
        }
    }

    void aHandlerMayDoAnything()
    {
        for (const QByteArray signal :
             {SIGNAL(connected()), SIGNAL(disconnected()), SIGNAL(error(QMQTT::ClientError)),
              SIGNAL(published(QMQTT::Message, quint16)), SIGNAL(received(QMQTT::Message)),
              SIGNAL(sslErrors(QList<QSslError>))}) {
            handle(signal, true);
            handle(signal, false);
        }
    }

private:
    // The first handler of the signal deletes the client, or has it connect anew.
    void handle(const QByteArray &signal, bool deletes)
    {
        QSslConfiguration config = configuration();
        if (signal.contains("sslErrors")) {
            config.setCaCertificates({});
        }
        QPointer<Client> client = new Client("localhost", m_tls.port(), config, false, this);
        const auto deleter = qScopeGuard([&client] { delete client; });
        // 7 is refused by the broker.
        const int version = signal.contains("error") ? 7 : QMQTT::V3_1_1;
        client->setVersion(static_cast<QMQTT::MQTTVersion>(version));
        m_action = [&] {
            if (deletes) {
                client->deleteLater();
                return;
            }
            client->disconnectFromHost();
            client->connectToHost();
            client->connectToHost();
        };
        QVERIFY(connect(client, signal.constData(), this, SLOT(act())));
        connect(client, &Client::connected, this, [&client] {
            client->subscribe("self");
            client->publish(Message(0, "self", "1"));
        });
        connect(client, &Client::received, client, [&] {
            if (m_action) {
                client->disconnectFromHost();
            }
        });
        client->connectToHost();
        QTRY_VERIFY2(!m_action, signal.constData());
        if (deletes) {
            QTRY_VERIFY2(client.isNull(), signal.constData());
        } else {
            const auto end =
                signal.contains("rror") ? QMQTT::STATE_DISCONNECTED : QMQTT::STATE_CONNECTED;
            QTRY_VERIFY2(client->connectionState() == end, signal.constData());
        }
    }

    QSslConfiguration configuration() const
    {
        QSslConfiguration config = QSslConfiguration::defaultConfiguration();
        config.setCaCertificates(QSslCertificate::fromPath(m_tls.caFile()));
        config.setLocalCertificate(QSslCertificate(m_credentials.cert));
        config.setPrivateKey(QSslKey(m_credentials.key, QSsl::Rsa));
        return config;
    }

    std::unique_ptr<Client> newClient() const
    {
        auto client = std::make_unique<Client>("localhost", m_tls.port(), configuration());
        client->setVersion(QMQTT::V3_1_1);
        return client;
    }

    static bool establish(Client &client)
    {
        QSignalSpy connected(&client, &Client::connected);
        client.connectToHost();
        return connected.wait(30000) && client.isConnectedToHost();
    }

    TestBroker m_tls;
    TestBroker::Credentials m_credentials;
    std::function<void()> m_action; // of act(), once
};

KVG_TEST_MAIN(TestQmqtt)
#include "tst_qmqtt.moc"
