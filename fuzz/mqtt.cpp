// What a broker sends: the same messages and answers, whether it comes at once or in pieces.
#include "fuzz/fuzz.h"
#include "mqtt/session.h"

#include <QStringList>

using namespace QMQTT;

namespace {

class Broker : public QAbstractSocket
{
public:
    Broker()
        : QAbstractSocket(TcpSocket, nullptr)
    {
    }
    void connectToHost(const QString &, quint16, OpenMode, NetworkLayerProtocol) override
    {
        setOpenMode(ReadWrite | Unbuffered);
        setSocketState(ConnectedState);
        emit connected();
    }
    void close() override
    {
        setSocketState(UnconnectedState);
        emit disconnected();
    }
    QByteArray sent;
    QByteArray received;

protected:
    qint64 readData(char *data, qint64 size) override
    {
        const QByteArray bytes = sent.left(int(size));
        sent.remove(0, bytes.size());
        std::copy(bytes.begin(), bytes.end(), data);
        return bytes.size();
    }
    qint64 writeData(const char *data, qint64 size) override
    {
        received.append(data, int(size));
        return size;
    }
};

QStringList play(const QByteArray &bytes, bool isCut)
{
    QStringList events;
    Client client;
    Settings settings;
    settings.version = V3_1_1;
    settings.clientId = QStringLiteral("gateway");
    Broker broker;
    Session session(&client, settings, &broker);
    QObject::connect(&client, &Client::connected, [&] {
        session.sendRequest(PacketType::Subscribe, QStringLiteral("a/#"), 1);
        session.sendRequest(PacketType::Unsubscribe, QStringLiteral("b"));
        session.publish(Message(3, QStringLiteral("c"), "1", 1));
        session.publish(Message(4, QStringLiteral("d"), "2", 2));
    });
    QObject::connect(&client, &Client::received, [&](const Message &message) {
        events << message.topic() << QString::fromLatin1(message.payload().toHex());
    });
    const auto note = [&](const auto &...) { events << QStringLiteral("answer"); };
    QObject::connect(&client, &Client::published, note);
    QObject::connect(&client, &Client::subscribed, note);
    QObject::connect(&client, &Client::unsubscribed, note);
    QObject::connect(&client, &Client::error,
                     [&](ClientError error) { events << QString::number(error); });
    session.open();
    const auto send = [&](const QByteArray &piece) {
        broker.sent += piece;
        emit broker.readyRead();
        QCoreApplication::sendPostedEvents();
    };
    isCut ? inPieces(bytes, send) : send(bytes);
    if (session.isConnected()) { // otherwise answers were dropped that had not left yet
        events << QString::fromLatin1(broker.received.toHex());
    }
    session.shutDown();
    return events;
}

} // namespace

void fuzz(const QByteArray &bytes)
{
    require(play(bytes, false) == play(bytes, true));
}
