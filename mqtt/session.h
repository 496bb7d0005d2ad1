#pragma once

#include "mqtt/client.h"
#include "mqtt/outbox.h"
#include "mqtt/packetreader.h"
#include "mqtt/packets.h"

#include <QAbstractSocket>
#include <QElapsedTimer>
#include <QHash>
#include <QPointer>
#include <QSet>
#include <QTimer>

namespace QMQTT {

// What a Client does: the socket's life and the protocol on it. Emits the client's signals, and
// is its unit and thread; socket and timers are the client's children.
//
// A handler of any signal may call back into the session, so a signal is emitted last, or what
// follows looks anew at what is still true.
class Session
{
public:
    Session(Client *client, QAbstractSocket *socket);
    Q_DISABLE_COPY_MOVE(Session)

    // The last call.
    void deleteSocket();

    Settings settings;

    ConnectionState state() const { return m_state; }
    bool isConnected() const
    {
        return m_state == STATE_CONNECTED && m_socket->state() == QAbstractSocket::ConnectedState;
    }
    bool autoReconnect() const { return m_autoReconnect; }
    int autoReconnectInterval() const { return m_reconnect->interval(); }
    void setAutoReconnect(bool on);
    void setAutoReconnectInterval(int milliseconds);

    // As the slots of the same meaning in Client.
    void open();
    void close();
    void subscribe(const QString &filter, quint8 qos);
    void unsubscribe(const QString &filter);
    quint16 publish(const Message &message);

    void forwardSslErrors(const QList<QSslError> &errors);

private:
    // On the stack while a signal of the socket is handled. The socket must not be aborted or
    // opened underneath its own code, so both wait for the event loop meanwhile.
    class SocketSignal;

    // What a request still waits for; for a subscription the message has its filter only.
    struct Awaited
    {
        PacketType answer = PacketType::Puback;
        Message message;
    };

    void openSocket();
    void dropSocket();
    void endLink();
    void fail(ClientError error);
    void startReconnect();

    void socketConnected();
    void sendConnect();
    void socketFailed(QAbstractSocket::SocketError error);
    void socketDisconnected();
    void deadlinePassed();
    void keepAliveElapsed();

    void flush();
    void flushSoon();
    bool flushLongBurst();
    qint64 unsent() const;

    void readPackets();
    bool handle(const Packet &packet);
    bool handleConnack(const Packet &packet);
    bool handlePublish(const Packet &packet);
    bool handleAnswer(const Packet &packet);
    void acknowledge(PacketType type, quint16 id);
    quint16 freeId(quint16 wanted = 0);

    Client *const q;
    QAbstractSocket *const m_socket;
    QTimer *const m_reconnect;
    QTimer *const m_deadline;  // for CONNACK, and for the socket to close
    QTimer *const m_keepAlive; // for the next PINGREQ, and for its PINGRESP

    ConnectionState m_state = STATE_INIT;
    bool m_current = false; // m_state speaks of the socket's present connection
    bool m_autoReconnect = false;
    bool m_pinging = false;
    qint64 m_unsentAtPing = 0; // bytes; shrinks as long as the link moves
    bool m_flushQueued = false;
    bool m_flushing = false;
    bool m_readingPaused = false;
    int m_socketSignals = 0; // being handled right now
    int m_closeChecks = 0;   // left until a closing socket is dropped
    quint32 m_link = 0;      // counts the socket's connections
    quint16 m_lastId = 0;
    quint16 m_keepAliveSeconds = 0; // as told to the broker

    Outbox m_outbox;
    PacketReader m_reader;
    QElapsedTimer m_lastSent;
    QElapsedTimer m_lastReceived;
    QHash<quint16, Awaited> m_awaited;
    QSet<quint16> m_received; // quality of service 2: passed on, not yet released by the broker
};

} // namespace QMQTT
