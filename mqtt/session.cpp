#include "mqtt/session.h"

#include "mqtt/log.h"

#include <QSslSocket>
#include <QtEndian>

#include <chrono>

using namespace std::chrono_literals;

namespace QMQTT {

namespace {

constexpr auto connackTimeout = 30s; // for TLS and CONNACK; Qt gives TCP as long
// After DISCONNECT the broker should close. If it does not: check every second, disconnect once
// all is sent, abort after the last check.
constexpr auto closeCheckInterval = 1s;
constexpr int maxCloseChecks = 30;
constexpr auto maxPingWait = 60s;
constexpr auto defaultReconnectInterval = 5s;
// Bytes. With more unsent, reading pauses: a broker that sends but never reads would fill the
// memory with acknowledgements.
constexpr qint64 maxUnsent = qint64(16) * 1024 * 1024;
// Bytes. publish() flushes above this: small pieces stay in the processor's cache while they are
// encrypted, which halves the cost of a long burst.
constexpr qint64 flushThreshold = qint64(64) * 1024;
constexpr qint64 socketReadBufferSize = qint64(1024) * 1024;

QTimer *makeSingleShotTimer(QObject *parent)
{
    auto *const timer = new QTimer(parent);
    timer->setSingleShot(true);
    return timer;
}

} // namespace

class Session::SocketSignal
{
public:
    explicit SocketSignal(Session &session)
        : m_session(session)
        , m_client(session.q)
    {
        ++m_session.m_socketSignalDepth;
    }
    ~SocketSignal()
    {
        if (clientLives()) {
            --m_session.m_socketSignalDepth;
        }
    }
    Q_DISABLE_COPY_MOVE(SocketSignal)

    // False once a handler's nested event loop has carried out a deleteLater().
    bool clientLives() const { return !m_client.isNull(); }

private:
    Session &m_session;
    QPointer<Client> m_client;
};

Session::Session(Client *client, const Settings &settings, QAbstractSocket *socket)
    : q(client)
    , m_settings(settings)
    , m_socket(socket)
    , m_tls(qobject_cast<QSslSocket *>(socket))
    , m_reconnectTimer(makeSingleShotTimer(client))
    , m_deadlineTimer(makeSingleShotTimer(client))
    , m_keepAliveTimer(makeSingleShotTimer(client))
    , m_outbox(socket)
{
    m_reconnectTimer->setInterval(defaultReconnectInterval);
    m_socket->setReadBufferSize(socketReadBufferSize);

    QObject::connect(m_reconnectTimer, &QTimer::timeout, q, [this] { open(); });
    QObject::connect(m_deadlineTimer, &QTimer::timeout, q, [this] { deadlinePassed(); });
    QObject::connect(m_keepAliveTimer, &QTimer::timeout, q, [this] { keepAliveElapsed(); });

    const auto resume = [this] {
        if (m_readingPaused && unsent() <= maxUnsent) {
            QMetaObject::invokeMethod(
                q, [this] { readPackets(); }, Qt::QueuedConnection);
        }
    };
    QObject::connect(m_socket, &QAbstractSocket::connected, q, [this] { socketConnected(); });
    QObject::connect(m_socket, &QAbstractSocket::disconnected, q, [this] { socketDisconnected(); });
    QObject::connect(m_socket, &QAbstractSocket::errorOccurred, q,
                     [this](QAbstractSocket::SocketError error) { socketFailed(error); });
    QObject::connect(m_socket, &QAbstractSocket::readyRead, q, [this] { readPackets(); });
    if (m_tls != nullptr) {
        QObject::connect(m_tls, &QSslSocket::encrypted, q, [this] { sendConnect(); });
        QObject::connect(m_tls, &QSslSocket::encryptedBytesWritten, q, resume);
    } else {
        QObject::connect(m_socket, &QAbstractSocket::bytesWritten, q, resume);
    }
}

// Aborting emits signals of the socket, whose handlers may call the client: so it happens while
// the client is whole, not when ~QObject() deletes the socket.
void Session::shutDown()
{
    m_socket->disconnect(q);
    ++m_socketSignalDepth; // for good: open() only queues
    setDisconnected();
    m_socket->abort();
}

void Session::setAutoReconnect(bool on)
{
    m_autoReconnect = on;
    if (!on) {
        m_reconnectTimer->stop();
    }
}

void Session::setAutoReconnectInterval(int milliseconds)
{
    m_reconnectTimer->setInterval(qMax(0, milliseconds));
}

void Session::startReconnect()
{
    if (m_autoReconnect) {
        m_reconnectTimer->start();
    }
}

// ---- Connecting

void Session::open()
{
    if (m_state == STATE_CONNECTING || m_state == STATE_CONNECTED) {
        return;
    }
    m_reconnectTimer->stop();
    m_state = STATE_CONNECTING;
    if (m_socketSignalDepth == 0) {
        openSocket();
    } else {
        QMetaObject::invokeMethod(
            q, [this] { openSocket(); }, Qt::QueuedConnection);
    }
}

void Session::openSocket()
{
    const auto superseded = [this] { return m_state != STATE_CONNECTING || m_socketInUse; };
    if (superseded()) {
        return;
    }
    if (m_socket->state() != QAbstractSocket::UnconnectedState) {
        const QPointer<Client> client(q);
        m_socket->abort();
        if (client.isNull() || superseded()) {
            return;
        }
    }
    ++m_attempt;
    m_socketInUse = true;
    m_readingPaused = false;
    m_deadlineTimer->stop(); // the close checks of the previous connection
    m_reader.reset();
    m_keepAliveSeconds = m_settings.keepAlive;
    if (m_tls != nullptr) {
        m_tls->connectToHostEncrypted(m_settings.hostName, m_settings.port);
    } else {
        m_socket->connectToHost(m_settings.hostName, m_settings.port);
    }
}

// ---- Ending a connection
//
// - setDisconnected() ends the session: state, timers, unsent and unacknowledged messages.
// - abortSocket() ends the socket's connection; queued while a signal of the socket is handled.
// - close(), once connected, sends DISCONNECT and ends the session; then the broker closes the
//   socket, or deadlinePassed() does. While still connecting, it ends both at once.
// - fail() ends the session, emits error(), then aborts the socket.
// - socketDisconnected(): the socket has closed, for any reason; ends the session and emits
//   disconnected().
//
// close(), fail() and socketDisconnected() lead to startReconnect().

void Session::close()
{
    if (isConnected()) {
        packets::appendHeaderOnly(m_outbox, PacketType::Disconnect);
        flush();
        setDisconnected();
        // The socket stays open until the broker closes: closing it with a message on its way to
        // us would reset the connection, and the broker would lose what it has not read.
        m_closeChecksLeft = maxCloseChecks;
        m_deadlineTimer->start(closeCheckInterval);
    } else if (m_state == STATE_CONNECTING || m_state == STATE_CONNECTED) {
        setDisconnected();
        startReconnect();
        abortSocket();
    }
}

void Session::setDisconnected()
{
    m_socketInUse = false;
    m_state = STATE_DISCONNECTED;
    m_pingrespPending = false;
    m_deadlineTimer->stop();
    m_keepAliveTimer->stop();
    m_outbox.clear();
    m_unacknowledged.clear();
}

void Session::abortSocket()
{
    const auto abort = [this, attempt = m_attempt] {
        if (attempt == m_attempt && m_socket->state() != QAbstractSocket::UnconnectedState) {
            m_socket->abort();
        }
    };
    if (m_socketSignalDepth == 0) {
        abort();
    } else {
        QMetaObject::invokeMethod(q, abort, Qt::QueuedConnection);
    }
}

void Session::fail(ClientError error)
{
    const QPointer<Client> client(q);
    const quint32 attempt = m_attempt;
    setDisconnected();
    startReconnect();
    emit q->error(error);
    if (!client.isNull() && attempt == m_attempt) { // else a handler has opened the socket again
        abortSocket();
    }
}

void Session::socketConnected()
{
    if (!m_socketInUse) {
        return;
    }
    m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    m_deadlineTimer->start(connackTimeout);
    if (m_tls == nullptr) {
        sendConnect();
    }
}

void Session::sendConnect()
{
    const SocketSignal guard(*this);
    if (!m_socketInUse) {
        return;
    }
    if (packets::appendConnect(m_outbox, m_settings)) {
        flush();
    } else {
        fail(UnknownError);
    }
}

void Session::forwardSslErrors(const QList<QSslError> &errors)
{
    const SocketSignal guard(*this);
    emit q->sslErrors(errors);
}

void Session::socketFailed(QAbstractSocket::SocketError error)
{
    const SocketSignal guard(*this);
    if (error == QAbstractSocket::RemoteHostClosedError) {
        readPackets(); // what is buffered: a CONNACK refusal tells more than this error
    }
    if (!guard.clientLives()) {
        return;
    }
    if (m_socketInUse) {
        fail(static_cast<ClientError>(error + 1));
    } else if (m_state == STATE_DISCONNECTED) {
        startReconnect(); // errors of an abandoned connection are not reported
    }
}

void Session::socketDisconnected()
{
    const SocketSignal guard(*this);
    if (m_socketInUse) {
        setDisconnected();
    }
    if (m_state == STATE_DISCONNECTED) {
        m_deadlineTimer->stop();
        startReconnect();
    }
    emit q->disconnected();
}

void Session::deadlinePassed()
{
    if (m_socketInUse) {
        fail(SocketTimeoutError);
    } else if (unsent() == 0) {
        m_socket->disconnectFromHost();
    } else if (--m_closeChecksLeft > 0) {
        m_deadlineTimer->start(closeCheckInterval);
    } else {
        abortSocket();
    }
}

void Session::keepAliveElapsed()
{
    const std::chrono::milliseconds keepAlive = std::chrono::seconds(m_keepAliveSeconds);
    if (m_pingrespPending) {
        const qint64 left = unsent();
        if (m_socketSignalDepth > 0) {
            m_keepAliveTimer->start(); // in a handler's nested event loop the socket does not read
        } else if (left > 0 && left < m_unsentAtPing) {
            m_unsentAtPing = left; // a slow link: the ping may still be queued
            m_keepAliveTimer->start();
        } else {
            fail(MqttNoPingResponse);
        }
        return;
    }
    // The standard only asks the client to send something. But a client that sends all the time
    // over a dead link would notice after many minutes only, so receiving counts as well.
    const std::chrono::milliseconds idle(qMax(m_lastSent.elapsed(), m_lastReceived.elapsed()));
    if (idle < keepAlive) {
        m_keepAliveTimer->start(keepAlive - idle);
        return;
    }
    m_pingrespPending = true;
    packets::appendHeaderOnly(m_outbox, PacketType::Pingreq);
    flush();
    m_unsentAtPing = unsent();
    m_keepAliveTimer->start(qMin<std::chrono::milliseconds>(keepAlive, maxPingWait));
}

// ---- Sending

void Session::flush()
{
    if (!m_outbox.isEmpty()) {
        m_outbox.write();
        m_lastSent.start();
    }
}

// Packets that are appended in one pass of the event loop leave together at its end.
void Session::flushSoon()
{
    if (m_flushQueued) {
        return;
    }
    m_flushQueued = true;
    QMetaObject::invokeMethod(
        q,
        [this] {
            m_flushQueued = false;
            flush();
        },
        Qt::QueuedConnection);
}

// False if a handler deleted the client.
bool Session::flushLongBurst()
{
    if (m_flushing || m_socket->bytesToWrite() <= flushThreshold) {
        return true;
    }
    const SocketSignal guard(*this);
    m_flushing = true;
    m_socket->flush();
    if (guard.clientLives()) {
        m_flushing = false;
    }
    return guard.clientLives();
}

qint64 Session::unsent() const
{
    return m_socket->bytesToWrite() + (m_tls != nullptr ? m_tls->encryptedBytesToWrite() : 0);
}

quint16 Session::freeId(quint16 wanted)
{
    if (wanted != 0 && !m_unacknowledged.contains(wanted)) {
        return wanted;
    }
    if (m_unacknowledged.size() == 0xffff) {
        qCWarning(lcMqtt, "Not sent: 65535 packets are unacknowledged");
        return 0;
    }
    do {
        ++m_lastId;
    } while (m_lastId == 0 || m_unacknowledged.contains(m_lastId));
    return m_lastId;
}

quint16 Session::publish(const Message &message)
{
    if (!isConnected()) {
        return 0;
    }
    const quint8 qos = message.qos();
    const quint16 id = freeId(qos == 0 ? quint16(0) : message.id());
    if (id == 0 || !packets::appendPublish(m_outbox, message, id)) {
        return 0;
    }
    if (qos > 0) {
        m_unacknowledged.insert(id, {qos == 1 ? PacketType::Puback : PacketType::Pubrec, message});
    }
    flushSoon();
    if (flushLongBurst() && qos == 0) {
        emit q->published(message, id);
    }
    return id;
}

void Session::sendRequest(PacketType type, const QString &filter, quint8 qos)
{
    const quint16 id = isConnected() ? freeId() : quint16(0);
    if (id != 0 && packets::appendRequest(m_outbox, type, id, filter, qos)) {
        const bool subscribes = type == PacketType::Subscribe;
        m_unacknowledged.insert(
            id, {subscribes ? PacketType::Suback : PacketType::Unsuback, Message(id, filter, {})});
        flushSoon();
    }
}

void Session::acknowledge(PacketType type, quint16 id)
{
    packets::appendAcknowledgement(m_outbox, type, id);
    flushSoon();
}

// ---- Receiving

void Session::readPackets()
{
    if (m_flushing) {
        // QSslSocket::flush() reads as well; callers do not expect received() inside publish().
        QMetaObject::invokeMethod(
            q, [this] { readPackets(); }, Qt::QueuedConnection);
        return;
    }
    const SocketSignal guard(*this);
    while (guard.clientLives()) {
        if (!m_socketInUse) {
            m_socket->readAll(); // unread data would turn closing into a reset
            return;
        }
        m_readingPaused = unsent() > maxUnsent;
        if (m_readingPaused || !m_reader.readFrom(*m_socket)) {
            return;
        }
        m_lastReceived.start();
        Packet packet;
        PacketReader::Next next = PacketReader::Next::HasPacket;
        while (guard.clientLives() && m_socketInUse &&
               (next = m_reader.next(packet)) == PacketReader::Next::HasPacket) {
            if (!handle(packet)) {
                next = PacketReader::Next::Malformed;
                break;
            }
        }
        if (next == PacketReader::Next::Malformed) {
            qCWarning(lcMqtt, "Protocol violation by the broker, closing the connection");
            fail(SocketOperationError);
            return;
        }
    }
}

// False: the packet violates the protocol. Handlers emit last, because the client may be deleted.
bool Session::handle(const Packet &packet)
{
    switch (packet.type) {
    case PacketType::Connack:
        return handleConnack(packet);
    case PacketType::Publish:
        return handlePublish(packet);
    case PacketType::Pingresp:
        if (m_pingrespPending) {
            m_pingrespPending = false;
            m_keepAliveTimer->start(std::chrono::seconds(m_keepAliveSeconds));
            emit q->pingresp();
        }
        return true;
    default:
        return handleAcknowledgement(packet);
    }
}

bool Session::handleConnack(const Packet &packet)
{
    const bool sessionPresent = m_settings.version == V3_1_1 && (packet.body[0] & 1) != 0;
    const auto code = static_cast<uchar>(packet.body[1]);
    if (m_settings.version == V3_1_1 && (packet.body[0] & 0xfe) != 0) {
        return false; // reserved bits; 3.1.0 ignores the byte
    }
    if (code != 0) {
        fail(code <= 5 ? static_cast<ClientError>(MqttUnacceptableProtocolVersionError + code - 1)
                       : UnknownError);
        return true;
    }
    if (m_settings.cleanSession || !sessionPresent) {
        m_unreleasedIds.clear();
    }
    m_deadlineTimer->stop();
    m_state = STATE_CONNECTED;
    if (m_keepAliveSeconds > 0) {
        m_keepAliveTimer->start(std::chrono::seconds(m_keepAliveSeconds));
    }
    emit q->connected();
    return true;
}

bool Session::handlePublish(const Packet &packet)
{
    const auto qos = static_cast<quint8>((packet.flags >> 1) & 3);
    const int topicSize = qFromBigEndian<quint16>(packet.body);
    const int headSize = 2 + topicSize + (qos > 0 ? 2 : 0);
    QString topic;
    if (headSize > packet.size || !packets::decodeTopic(packet.body + 2, topicSize, topic)) {
        return false;
    }
    quint16 id = 0;
    if (qos > 0) {
        id = qFromBigEndian<quint16>(packet.body + 2 + topicSize);
        if (id == 0) {
            return false;
        }
        acknowledge(qos == 1 ? PacketType::Puback : PacketType::Pubrec, id);
    }
    if (qos == 2) {
        if (m_unreleasedIds.contains(id)) {
            return true; // a retransmission
        }
        m_unreleasedIds.insert(id);
    }
    emit q->received(Message(id, topic, QByteArray(packet.body + headSize, packet.size - headSize),
                             qos, (packet.flags & 1) != 0, (packet.flags & 8) != 0));
    return true;
}

bool Session::handleAcknowledgement(const Packet &packet)
{
    const quint16 id = qFromBigEndian<quint16>(packet.body);
    if (packet.type == PacketType::Pubrel) {
        // Also for an unknown id: the broker may remember more of the session than we do.
        if (id != 0) {
            m_unreleasedIds.remove(id);
            acknowledge(PacketType::Pubcomp, id);
        }
        return id != 0;
    }
    const auto request = m_unacknowledged.find(id);
    if (request == m_unacknowledged.end()) {
        return false;
    }
    if (packet.type == PacketType::Pubrec && (request->expectedAnswer == PacketType::Pubrec ||
                                              request->expectedAnswer == PacketType::Pubcomp)) {
        request->expectedAnswer = PacketType::Pubcomp;
        acknowledge(PacketType::Pubrel, id);
        return true;
    }
    const auto granted = static_cast<uchar>(packet.body[packet.size - 1]);
    if (packet.type != request->expectedAnswer ||
        (packet.type == PacketType::Suback && granted > 2 && granted != 0x80)) {
        return false;
    }
    const Message message = request->message;
    m_unacknowledged.erase(request);
    if (packet.type == PacketType::Suback) {
        emit q->subscribed(message.topic(), granted);
    } else if (packet.type == PacketType::Unsuback) {
        emit q->unsubscribed(message.topic());
    } else {
        emit q->published(message, id);
    }
    return true;
}

} // namespace QMQTT
