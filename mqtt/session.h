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

class QSslSocket;

namespace QMQTT {

// The private part of a Client: opens and closes the socket, speaks the protocol and emits the
// client's signals. Thread of the client, whose children the socket and the timers are.
//
// A signal's handler may call the session again or delete the client: emit last, or check the state
// again afterwards.
class Session
{
public:
    // Borrows all three.
    Session(Client *client, const Settings &settings, QAbstractSocket *socket);
    Q_DISABLE_COPY_MOVE(Session)

    // Closes the connection without signals of the client. No other call may follow.
    void shutDown();

    ConnectionState state() const { return m_state; }
    bool isConnected() const
    {
        return m_state == STATE_CONNECTED && m_socket->state() == QAbstractSocket::ConnectedState;
    }
    bool autoReconnect() const { return m_autoReconnect; }
    int autoReconnectInterval() const { return m_reconnectTimer->interval(); }
    void setAutoReconnect(bool on);
    void setAutoReconnectInterval(int milliseconds);

    // See Client; open() is its connectToHost(), close() its disconnectFromHost(), and
    // sendRequest() its subscribe() and unsubscribe().
    void open();
    void close();
    void sendRequest(PacketType type, const QString &filter, quint8 qos = 0);
    quint16 publish(const Message &message);

    void forwardSslErrors(const QList<QSslError> &errors);

private:
    // On the stack while a signal of the socket is handled. Meanwhile open() and abortSocket() are
    // queued: both would change the socket under the code that emits the signal.
    class SocketSignal;

    struct Request
    {
        PacketType expectedAnswer = PacketType::Puback;
        Message message; // of SUBSCRIBE and UNSUBSCRIBE: the filter as its topic
    };

    void openSocket();
    void abortSocket();
    void setDisconnected();
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
    [[nodiscard]] bool flushLongBurst();
    qint64 unsent() const;

    void readPackets();
    [[nodiscard]] bool handle(const Packet &packet);
    [[nodiscard]] bool handleConnack(const Packet &packet);
    [[nodiscard]] bool handlePublish(const Packet &packet);
    [[nodiscard]] bool handleAcknowledgement(const Packet &packet);
    void acknowledge(PacketType type, quint16 id);
    quint16 freeId(quint16 wanted = 0);

    Client *const q;
    const Settings &m_settings;
    QAbstractSocket *const m_socket;
    QSslSocket *const m_tls; // the same socket; null without TLS
    QTimer *const m_reconnectTimer;
    QTimer *const m_deadlineTimer; // while connecting: for CONNACK; after close(): the close checks
    QTimer *const m_keepAliveTimer; // for the next PINGREQ, then for its PINGRESP

    ConnectionState m_state = STATE_INIT;
    bool m_socketInUse = false; // from openSocket() until setDisconnected()
    bool m_autoReconnect = false;
    bool m_pingrespPending = false;
    qint64 m_unsentAtPing = 0; // bytes
    bool m_flushQueued = false;
    bool m_flushing = false;
    bool m_readingPaused = false;
    int m_socketSignalDepth = 0;
    int m_closeChecksLeft = 0;
    quint32 m_attempt = 0; // counts connection attempts
    quint16 m_lastId = 0;
    quint16 m_keepAliveSeconds = 0; // of the present connection

    Outbox m_outbox;
    PacketReader m_reader;
    QElapsedTimer m_lastSent;
    QElapsedTimer m_lastReceived;
    QHash<quint16, Request> m_unacknowledged;
    QSet<quint16> m_unreleasedIds; // QoS 2: received() emitted, PUBREL not received yet
};

} // namespace QMQTT
