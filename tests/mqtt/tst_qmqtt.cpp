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

constexpr qint64 mebibyte = 1 << 20;
const QByteArray accepted = QByteArray::fromHex("20020000");

// A broker that says what the test wants: `answer` to every CONNECT, and what the test writes.
class FakeBroker : public QTcpServer
{
public:
    explicit FakeBroker(QByteArray answer = accepted)
        : m_answer(std::move(answer))
    {
        listen(QHostAddress::LocalHost);
        connect(this, &QTcpServer::newConnection, this, [this] {
            peer = nextPendingConnection();
            received.clear();
            connect(peer, &QTcpSocket::readyRead, this,
                    [this, from = peer, first = true]() mutable {
                        received += from->readAll();
                        if (std::exchange(first, false)) {
                            from->write(m_answer);
                        }
                    });
        });
    }

    QPointer<QTcpSocket> peer; // the last one
    QByteArray received;       // from it

private:
    QByteArray m_answer;
};

std::unique_ptr<Client> plainClient(quint16 port)
{
    auto client = std::make_unique<Client>(QHostAddress::LocalHost, port);
    client->setVersion(QMQTT::V3_1_1);
    return client;
}

// What a handler may do to its client.
class Actor : public QObject
{
    Q_OBJECT

public:
    std::function<void()> action;
    int calls = 0;

public slots:
    void act()
    {
        if (calls++ == 0) {
            action();
        }
    }
};

} // namespace

class TestQmqtt : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qRegisterMetaType<QMQTT::ClientError>("QMQTT::ClientError");
        qRegisterMetaType<QMQTT::Message>("QMQTT::Message");
        QVERIFY(m_tls.start());
        QVERIFY(m_plain.start());
        m_credentials = m_tls.issue("gateway");
        QVERIFY(!m_credentials.key.isEmpty());
    }

    void connectAnnouncesTheSettings_data()
    {
        QTest::addColumn<int>("version");
        QTest::addColumn<QString>("username");
        QTest::addColumn<bool>("clean");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("3.1") << int(QMQTT::V3_1_0) << "" << true
                             << QByteArray::fromHex("101000064d51497364700302012c00026964");
        QTest::newRow("3.1.1") << int(QMQTT::V3_1_1) << "" << false
                               << QByteArray::fromHex("100e00044d5154540400012c00026964");
        QTest::newRow("user") << int(QMQTT::V3_1_1) << QStringLiteral("\u00fc") << true
                              << QByteArray::fromHex(
                                     "101500044d51545404c2012c000269640002c3bc0001") +
                                     QByteArray("p");
    }
    void connectAnnouncesTheSettings()
    {
        QFETCH(int, version);
        QFETCH(QString, username);
        QFETCH(bool, clean);
        QFETCH(QByteArray, expected);
        FakeBroker broker;
        const auto client = plainClient(broker.serverPort());
        QCOMPARE(client->connectionState(), QMQTT::STATE_INIT);
        client->setVersion(static_cast<QMQTT::MQTTVersion>(version));
        client->setClientId("id");
        client->setUsername(username);
        client->setPassword("p");
        client->setCleanSession(clean);
        client->connectToHost();
        QCOMPARE(client->connectionState(), QMQTT::STATE_CONNECTING);
        QVERIFY(!client->isConnectedToHost());
        QTRY_COMPARE(broker.received, expected);
        QTRY_VERIFY(client->isConnectedToHost());
        QCOMPARE(client->connectionState(), QMQTT::STATE_CONNECTED);
    }

    void messagesMakeTheRoundTrip_data() { everyBroker(); }
    void messagesMakeTheRoundTrip()
    {
        const auto client = newClient();
        QSignalSpy subscribed(client.get(), &Client::subscribed);
        QSignalSpy unsubscribed(client.get(), &Client::unsubscribed);
        QSignalSpy published(client.get(), &Client::published);
        QSignalSpy received(client.get(), &Client::received);

        QCOMPARE(client->publish(Message(0, "early", "x")), quint16(0));
        QCOMPARE(published.count(), 0);
        QVERIFY(establish(*client));
        const QString topic = QStringLiteral("a/\u00e4/\U0001F321/\uFEFF");
        QVERIFY(client->publish(Message(0, topic, "kept", 1, true)) != 0);
        QTRY_COMPARE(published.count(), 1);
        client->subscribe("a/#", 2);
        QTRY_COMPARE(subscribed.count(), 1);
        QCOMPARE(subscribed[0][0].toString(), QStringLiteral("a/#"));
        QCOMPARE(subscribed[0][1].toInt(), 2);
        QTRY_COMPARE(received.count(), 1);
        const auto kept = received[0][0].value<Message>();
        QVERIFY(kept.retain());
        QCOMPARE(kept.topic(), topic);
        QCOMPARE(kept.payload(), QByteArray("kept"));

        for (quint8 qos = 0; qos <= 2; ++qos) {
            published.clear();
            received.clear();
            const Message message(4711, "a/b", QByteArray("\0\xff", 2), qos);
            const quint16 id = client->publish(message);
            QVERIFY(id != 0);
            QCOMPARE(published.count(), qos == 0 ? 1 : 0); // at once, or at the broker's answer
            QTRY_COMPARE(published.count(), 1);
            QCOMPARE(published[0][0].value<Message>(), message);
            QCOMPARE(published[0][1].value<quint16>(), id);
            QTRY_COMPARE(received.count(), 1);
            QCOMPARE(received[0][0].value<Message>().payload(), message.payload());
            QCOMPARE(received[0][0].value<Message>().qos(), qos);
        }
        client->unsubscribe("a/#");
        QTRY_COMPARE(unsubscribed.count(), 1);
        QCOMPARE(unsubscribed[0][0].toString(), QStringLiteral("a/#"));
    }

    // Around one more byte of length, one full TLS record, and what needs many reads.
    void payloadsOfAwkwardSizesArriveWhole_data() { everyBroker(); }
    void payloadsOfAwkwardSizesArriveWhole()
    {
        const auto client = newClient();
        QVERIFY(establish(*client));
        QList<int> sizes = {0, 1, 1024 * 1024, 3, 65536};
        for (const int border : {127, 16383, 2 * 16384, 2097151}) {
            for (int size = border - 9; size <= border; ++size) {
                sizes << size;
            }
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
        QTRY_COMPARE_WITH_TIMEOUT(payloads.size(), sizes.size(), 30000);
        for (int i = 0; i < sizes.size(); ++i) {
            QVERIFY2(payloads[i] == sample(sizes[i]), qPrintable(QString::number(sizes[i])));
        }
    }

    void aLongBurstKeepsItsOrder_data() { everyBroker(); }
    void aLongBurstKeepsItsOrder()
    {
        const int count = 20000;
        const auto client = newClient();
        QVERIFY(establish(*client));
        auto *const socket = client->findChild<QAbstractSocket *>();
        QSignalSpy failed(client.get(), &Client::error);
        QSignalSpy disconnected(client.get(), &Client::disconnected);
        int published = 0;
        int arrived = 0;
        bool inside = false;
        connect(client.get(), &Client::published, this, [&] { published += inside ? 1 : 0; });
        const auto check = [&](const Message &message) {
            arrived += !inside && message.payload().toInt() == arrived ? 1 : 0;
        };
        const auto burst = [&] {
            inside = true;
            for (int i = 0; i < count; ++i) {
                client->publish(Message(0, "burst", QByteArray::number(i).rightJustified(200)));
            }
            inside = false;
        };
        connect(client.get(), &Client::received, this, check);
        client->subscribe("burst");
        qint64 written = socket->bytesToWrite();
        connect(socket, &QAbstractSocket::bytesWritten, this, [&](qint64 n) { written += n; });
        burst();
        QCOMPARE(published, count);
        // At most one record's worth is held back from who asks the socket.
        QVERIFY(written + socket->bytesToWrite() >= count * 209 - 16384);
        QTRY_COMPARE_WITH_TIMEOUT(arrived, count, 30000);

        const auto other = newClient();
        QVERIFY(establish(*other));
        QSignalSpy subscribed(other.get(), &Client::subscribed);
        connect(other.get(), &Client::received, this, check);
        other->subscribe("burst");
        QTRY_COMPARE(subscribed.count(), 1);
        client->disconnect(this);
        arrived = 0;
        burst();
        client->disconnectFromHost();
        QCOMPARE(client->connectionState(), QMQTT::STATE_DISCONNECTED);
        QVERIFY(!client->isConnectedToHost());
        QCOMPARE(client->publish(Message(0, "burst", "after the end")), quint16(0));
        QTRY_COMPARE_WITH_TIMEOUT(arrived, count, 30000);
        QTRY_COMPARE(disconnected.count(), 1);
        QCOMPARE(failed.count(), 0);
        establish(*client);
        burst(); // and is deleted with some of it unsent
    }

    void whatTheStandardForbidsIsNotSent()
    {
        FakeBroker broker;
        const auto client = plainClient(broker.serverPort());
        QSignalSpy published(client.get(), &Client::published);
        QVERIFY(establish(*client));
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
        QCOMPARE(published.count(), 0);
        client->publish(Message(0, "t", "p"));
        QTRY_COMPARE(broker.received, QByteArray::fromHex("300400017470"));
    }

    void aRefusalNamesItsReason()
    {
        for (int code = 1; code <= 6; ++code) {
            FakeBroker refusing(QByteArray::fromHex("200200") + static_cast<char>(code));
            FakeBroker accepting;
            const auto client = plainClient(refusing.serverPort());
            QSignalSpy failed(client.get(), &Client::error);
            QSignalSpy disconnected(client.get(), &Client::disconnected);
            client->connectToHost();
            QTRY_COMPARE(disconnected.count(), 1);
            QCOMPARE(failed.count(), 1);
            QCOMPARE(static_cast<int>(failed[0][0].value<QMQTT::ClientError>()),
                     code <= 5 ? 0x10000 + code - 1 : 0);
            QCOMPARE(client->connectionState(), QMQTT::STATE_DISCONNECTED);
            // The handler may connect elsewhere at once.
            connect(client.get(), &Client::error, client.get(), [&] {
                client->setPort(accepting.serverPort());
                client->connectToHost();
            });
            client->connectToHost();
            QTRY_VERIFY(client->isConnectedToHost());
            QCOMPARE(failed.count(), 2);
        }
    }

    void aHostilePeerIsCutOff_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("greeted");
        // Before an accepted CONNACK: PUBLISH, PINGRESP, HTTP, a CONNACK with a wrong length,
        // wrong flags, a reserved bit.
        for (const char *hex : {"300400016178", "d000", "485454502f312e31", "200100", "2003000000",
                                "21020000", "20020200"}) {
            QTest::addRow("early %s", hex) << QByteArray::fromHex(hex) << false;
        }
        for (const char *hex :
             {// A second CONNACK, and what no broker sends
              "20020000", "0000", "f000", "1000", "8206000100016100", "c000", "e000",
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
            QSignalSpy disconnected(client.get(), &Client::disconnected);
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
            QTRY_COMPARE(disconnected.count(), 1);
            QCOMPARE(failed.count(), 1);
            QCOMPARE(failed[0][0].value<QMQTT::ClientError>(), QMQTT::SocketOperationError);
            QCOMPARE(received.count(), 0);
            QTRY_COMPARE(broker.peer->state(), QAbstractSocket::UnconnectedState);
        }
    }

    void exactlyOnceSurvivesRepetition()
    {
        FakeBroker broker;
        const auto client = plainClient(broker.serverPort());
        QSignalSpy received(client.get(), &Client::received);
        QSignalSpy published(client.get(), &Client::published);
        QVERIFY(establish(*client));
        broker.received.clear();
        const QByteArray message = QByteArray::fromHex("34050001610007");
        broker.peer->write(message + message + QByteArray::fromHex("62020007") + message);
        QTRY_COMPARE(broker.received, QByteArray::fromHex("50020007500200077002000750020007"));
        QCOMPARE(received.count(), 2);

        broker.received.clear();
        QCOMPARE(client->publish(Message(9, "a", "", 2)), quint16(9));
        QVERIFY(client->publish(Message(9, "a", "", 2)) != 9); // the number is taken
        broker.peer->write(QByteArray::fromHex("500200095002000970020009"));
        QTRY_VERIFY(broker.received.endsWith(QByteArray::fromHex("6202000962020009")));
        QTRY_COMPARE(published.count(), 1);
    }

    void aBrokerThatNeverReadsFillsNoMemory()
    {
        FakeBroker broker;
        const auto client = plainClient(broker.serverPort());
        qint64 received = 0;
        connect(client.get(), &Client::received, this, [&received] { ++received; });
        QVERIFY(establish(*client));
        broker.peer->setReadBufferSize(1);
        // More acknowledgements than the system's buffers and the client's bound take together.
        const QByteArray messages = QByteArray::fromHex("32050001610001").repeated(10000);
        auto *const socket = client->findChild<QTcpSocket *>();
        for (int i = 0; i < 1500 && broker.peer->bytesToWrite() < mebibyte * 32; ++i) {
            broker.peer->write(messages);
            QCoreApplication::processEvents();
            QVERIFY(socket->bytesToWrite() < mebibyte * 24);
        }
        QVERIFY(broker.peer->bytesToWrite() > 0);
        const qint64 before = received;
        broker.peer->setReadBufferSize(0);
        broker.peer->readAll();
        QTRY_VERIFY(received > before); // goes on when the broker reads again
    }

    void aConnectionThatEndsIsTakenUpAgain_data() { everyBroker(); }
    void aConnectionThatEndsIsTakenUpAgain()
    {
        QFETCH(bool, tls);
        TestBroker &broker = tls ? m_tls : m_plain;
        const auto client = newClient();
        client->setAutoReconnect(true);
        client->setAutoReconnectInterval(20);
        QSignalSpy connected(client.get(), &Client::connected);
        QSignalSpy failed(client.get(), &Client::error);
        QVERIFY(establish(*client));
        auto *const socket = client->findChild<QAbstractSocket *>();
        int disconnects = 0;
        int lies = 0;
        const auto look = [&] { lies += client->isConnectedToHost() ? 1 : 0; };
        connect(socket, &QAbstractSocket::disconnected, this, look);
        connect(socket, &QAbstractSocket::errorOccurred, this, look);
        connect(client.get(), &Client::error, this, look);
        connect(client.get(), &Client::disconnected, this, [&] {
            look();
            ++disconnects;
        });
        broker.kill();
        QTRY_COMPARE(disconnects, 1);
        QTRY_VERIFY(failed.count() >= 2); // the end, and attempts in vain
        QVERIFY(broker.start());
        QTRY_COMPARE(connected.count(), 2);
        QCOMPARE(lies, 0);

        // One that was asked for, too; and a socket that is still closing gives way.
        client->disconnectFromHost();
        QTRY_COMPARE(connected.count(), 3);
        client->disconnectFromHost();
        client->connectToHost();
        client->connectToHost();
        QTRY_COMPARE(connected.count(), 4);
        QCOMPARE(client->findChild<QAbstractSocket *>(), socket);

        client->setAutoReconnectInterval(100000);
        client->disconnectFromHost();
        QTRY_COMPARE(disconnects, 4);
        QVERIFY(client->findChild<QTimer *>("reconnect")->isActive());
        client->setAutoReconnect(false);
        QCOMPARE(client->connectionState(), QMQTT::STATE_DISCONNECTED);
        QVERIFY(!client->findChild<QTimer *>("reconnect")->isActive());
    }

    void silenceIsBrokenByAPing()
    {
        FakeBroker silent;
        const auto client = plainClient(m_plain.port());
        client->setKeepAlive(1);
        QSignalSpy pinged(client.get(), &Client::pingresp);
        QSignalSpy failed(client.get(), &Client::error);
        QSignalSpy disconnected(client.get(), &Client::disconnected);
        QVERIFY(establish(*client));
        QTRY_COMPARE(pinged.count(), 2);
        client->disconnectFromHost();
        QTRY_COMPARE(disconnected.count(), 1);
        QCOMPARE(failed.count(), 0);

        client->setPort(silent.serverPort());
        QVERIFY(establish(*client));
        QTimer talk; // also one who never pauses finds out that nobody is there
        connect(&talk, &QTimer::timeout, client.get(), [&] { client->publish({0, "t", "x"}); });
        talk.start(50);
        QTRY_COMPARE(disconnected.count(), 2);
        QVERIFY(silent.received.contains(QByteArray::fromHex("c000")));
        QCOMPARE(failed.count(), 1);
        QCOMPARE(failed[0][0].value<QMQTT::ClientError>(), QMQTT::MqttNoPingResponse);
    }

    void aPeerThatSaysNothingIsGivenUp_data() { everyBroker(); }
    void aPeerThatSaysNothingIsGivenUp()
    {
        FakeBroker broker((QByteArray()));
        const auto client = newClient();
        client->setHostName("127.0.0.1");
        client->setPort(broker.serverPort());
        QSignalSpy failed(client.get(), &Client::error);
        QSignalSpy disconnected(client.get(), &Client::disconnected);
        auto *const deadline = client->findChild<QTimer *>("deadline");
        client->connectToHost();
        QTRY_VERIFY(deadline->isActive());
        deadline->start(0); // not half a minute
        QTRY_COMPARE(disconnected.count(), 1);
        QCOMPARE(failed.count(), 1);
        QCOMPARE(failed[0][0].value<QMQTT::ClientError>(), QMQTT::SocketTimeoutError);
    }

    // The broker's chain ends with a self-signed root, which is not among the trusted ones here.
    void onlyATrustedBrokerIsBelieved_data()
    {
        QTest::addColumn<bool>("forgiving");
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("believed");
        QTest::newRow("self-signed") << false << "localhost" << false;
        QTest::newRow("self-signed, forgiven") << true << "localhost" << true;
        QTest::newRow("self-signed, forgiven, other name") << true << "elsewhere" << false;
    }
    void onlyATrustedBrokerIsBelieved()
    {
        QFETCH(bool, forgiving);
        QFETCH(QString, name);
        QFETCH(bool, believed);
        QSslConfiguration config = configuration();
        config.setCaCertificates({});
        Client client("localhost", m_tls.port(), config, forgiving);
        client.setVersion(QMQTT::V3_1_1);
        client.findChild<QSslSocket *>()->setPeerVerifyName(name);
        QSignalSpy sslErrors(&client, &Client::sslErrors);
        QSignalSpy failed(&client, &Client::error);
        client.connectToHost();
        QTRY_VERIFY(client.isConnectedToHost() == believed && failed.isEmpty() == believed);
        QCOMPARE(sslErrors.count(), 1);
        QVERIFY(believed ||
                failed[0][0].value<QMQTT::ClientError>() == QMQTT::SocketSslHandshakeFailedError);
    }

    void aHandlerMayDoAnything_data()
    {
        QTest::addColumn<QByteArray>("signal");
        QTest::addColumn<QString>("action");
        for (const char *signal :
             {SIGNAL(connected()), SIGNAL(disconnected()), SIGNAL(error(QMQTT::ClientError)),
              SIGNAL(subscribed(QString, quint8)), SIGNAL(unsubscribed(QString)),
              SIGNAL(published(QMQTT::Message, quint16)), SIGNAL(received(QMQTT::Message)),
              SIGNAL(pingresp()), SIGNAL(sslErrors(QList<QSslError>))}) {
            for (const char *action : {"delete", "disconnect", "reconnect"}) {
                QTest::addRow("%s %s", signal + 1, action) << QByteArray(signal) << action;
            }
        }
    }
    void aHandlerMayDoAnything()
    {
        QFETCH(QByteArray, signal);
        QFETCH(QString, action);
        QSslConfiguration config = configuration();
        if (signal.contains("sslErrors")) {
            config.setCaCertificates({});
        }
        QPointer<Client> client = new Client("localhost", m_tls.port(), config, false, this);
        const auto deleter = qScopeGuard([&client] { delete client; });
        client->setVersion(QMQTT::V3_1_1);
        client->setKeepAlive(1);
        client->setAutoReconnect(true);
        if (signal.contains("error")) {
            client->setVersion(static_cast<QMQTT::MQTTVersion>(7)); // is refused by the broker
        }
        Actor actor;
        actor.action = [&] {
            if (action == "delete") {
                client->deleteLater();
                return;
            }
            client->disconnectFromHost();
            client->setAutoReconnect(false);
            if (action == "reconnect") {
                client->connectToHost();
            }
        };
        QVERIFY(connect(client, signal.constData(), &actor, SLOT(act())));
        connect(client, &Client::connected, this, [&client] {
            client->subscribe("self", 1);
            client->publish(Message(0, "self", "1"));
            client->publish(Message(0, "self", "2", 1));
        });
        connect(client, &Client::received, client, [&] { client->unsubscribe("self"); });
        connect(client, &Client::unsubscribed, client, [&] {
            if (signal.contains("disconnected")) {
                client->disconnectFromHost();
            }
        });
        client->connectToHost();
        QTRY_VERIFY(actor.calls > 0);
        if (action == "delete") {
            QTRY_VERIFY(client.isNull());
            return;
        }
        auto *const socket = client->findChild<QSslSocket *>();
        QTRY_VERIFY(socket->state() == QAbstractSocket::UnconnectedState ||
                    (action == "reconnect" && client->isConnectedToHost()));
    }

private:
    static void everyBroker()
    {
        QTest::addColumn<bool>("tls");
        QTest::newRow("TLS") << true;
        QTest::newRow("plain") << false;
    }

    QSslConfiguration configuration() const
    {
        QSslConfiguration config = QSslConfiguration::defaultConfiguration();
        config.setCaCertificates(QSslCertificate::fromPath(m_tls.caFile()));
        config.setLocalCertificate(QSslCertificate(m_credentials.cert));
        config.setPrivateKey(QSslKey(m_credentials.key, QSsl::Rsa));
        return config;
    }

    // For the broker that everyBroker() names.
    std::unique_ptr<Client> newClient() const
    {
        QFETCH(bool, tls);
        if (!tls) {
            return plainClient(m_plain.port());
        }
        auto client = std::make_unique<Client>("localhost", m_tls.port(), configuration());
        client->setVersion(QMQTT::V3_1_1);
        return client;
    }

    static bool establish(Client &client)
    {
        QSignalSpy connected(&client, &Client::connected);
        client.connectToHost();
        return connected.wait() && client.isConnectedToHost();
    }

    TestBroker m_tls;
    TestBroker m_plain = TestBroker(TestBroker::PlainTcp);
    TestBroker::Credentials m_credentials;
};

KVG_TEST_MAIN(TestQmqtt)
#include "tst_qmqtt.moc"
