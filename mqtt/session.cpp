#include "mqtt/session.h"

#include "mqtt/log.h"

#include <QSslSocket>
#include <QUuid>
#include <QtEndian>

#include <chrono>

using namespace std::chrono_literals;

namespace QMQTT {

namespace {

constexpr auto connackWait = 30s; // for handshake and CONNACK, as long as Qt gives TCP
// After DISCONNECT the broker closes. One that does not is left after the first of these checks
// that finds everything sent, or after the last.
constexpr auto closeCheck = 1s;
constexpr int closeChecks = 30;
constexpr auto longestPingWait = 60s;
constexpr auto defaultReconnectInterval = 5s;
// A broker that sends and does not read must not fill the memory with acknowledgements: with
// more than this unsent nothing is read. Bytes.
constexpr qint64 unsentLimit = qint64(16) * 1024 * 1024;
// A long burst is sent in pieces of this size (bytes) while it is published: what is encrypted
// then stays in the processor's cache, which halves the cost against one heap of megabytes.
constexpr qint64 eagerFlush = qint64(64) * 1024;
constexpr qint64 socketReadBuffer = qint64(1024) * 1024;

quint16 int16At(const char *bytes)
{
    return qFromBigEndian<quint16>(bytes);
}

QTimer *makeTimer(QObject *parent, const char *name)
{
    auto *const timer = new QTimer(parent);
    timer->setObjectName(QLatin1String(name));
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
        ++m_session.m_socketSignals;
    }
    ~SocketSignal()
    {
        if (clientLives()) {
            --m_session.m_socketSignals;
        }
    }
    Q_DISABLE_COPY_MOVE(SocketSignal)

    // False after a deleteLater() that a handler's own event loop has carried out.
    bool clientLives() const { return !m_client.isNull(); }

private:
    Session &m_session;
    QPointer<Client> m_client;
};

Session::Session(Client *client, QAbstractSocket *socket)
    : q(client)
    , m_socket(socket)
    , m_reconnect(makeTimer(client, "reconnect"))
    , m_deadline(makeTimer(client, "deadline"))
    , m_keepAlive(makeTimer(client, "keepAlive"))
    , m_outbox(socket)
{
    // 22 characters: MQTT 3.1.0 allows 23.
    settings.clientId =
        QLatin1String("qmqtt-") + QUuid::createUuid().toString(QUuid::Id128).left(16);
    m_reconnect->setInterval(defaultReconnectInterval);
    m_socket->setReadBufferSize(socketReadBuffer);

    QObject::connect(m_reconnect, &QTimer::timeout, q, [this] { open(); });
    QObject::connect(m_deadline, &QTimer::timeout, q, [this] { deadlinePassed(); });
    QObject::connect(m_keepAlive, &QTimer::timeout, q, [this] { keepAliveElapsed(); });

    const auto resume = [this] {
        if (m_readingPaused && unsent() <= unsentLimit) {
            QMetaObject::invokeMethod(
                q, [this] { readPackets(); }, Qt::QueuedConnection);
        }
    };
    QObject::connect(m_socket, &QAbstractSocket::connected, q, [this] { socketConnected(); });
    QObject::connect(m_socket, &QAbstractSocket::disconnected, q, [this] { socketDisconnected(); });
    QObject::connect(m_socket, &QAbstractSocket::errorOccurred, q,
                     [this](QAbstractSocket::SocketError error) { socketFailed(error); });
    QObject::connect(m_socket, &QAbstractSocket::readyRead, q, [this] { readPackets(); });
    if (auto *const tls = qobject_cast<QSslSocket *>(m_socket)) {
        QObject::connect(tls, &QSslSocket::encrypted, q, [this] { sendConnect(); });
        QObject::connect(tls, &QSslSocket::encryptedBytesWritten, q, resume);
    } else {
        QObject::connect(m_socket, &QAbstractSocket::bytesWritten, q, resume);
    }
}

// A socket that is deleted still talks, and who listens to it may ask the client: so it goes while
// there is somebody to answer, and before any slot of ours is gone.
void Session::deleteSocket()
{
    m_socket->disconnect(q);
    ++m_socketSignals; // nothing is opened any more
    endLink();
    delete m_socket;
}

void Session::setAutoReconnect(bool on)
{
    m_autoReconnect = on;
    if (!on) {
        m_reconnect->stop();
    }
}

void Session::setAutoReconnectInterval(int milliseconds)
{
    m_reconnect->setInterval(qMax(0, milliseconds));
}

void Session::startReconnect()
{
    if (m_autoReconnect) {
        m_reconnect->start();
    }
}

// ---- The socket's life

void Session::open()
{
    if (m_state == STATE_CONNECTING || m_state == STATE_CONNECTED) {
        return;
    }
    m_reconnect->stop();
    m_state = STATE_CONNECTING;
    if (m_socketSignals == 0) {
        openSocket();
    } else {
        QMetaObject::invokeMethod(
            q, [this] { openSocket(); }, Qt::QueuedConnection);
    }
}

void Session::openSocket()
{
    const auto superseded = [this] { return m_state != STATE_CONNECTING || m_current; };
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
    ++m_link;
    m_current = true;
    m_readingPaused = false;
    m_deadline->stop(); // of a connection that was still closing
    m_reader.reset();
    m_keepAliveSeconds = settings.keepAlive;
    if (auto *const tls = qobject_cast<QSslSocket *>(m_socket)) {
        tls->connectToHostEncrypted(settings.hostName, settings.port);
    } else {
        m_socket->connectToHost(settings.hostName, settings.port);
    }
}

void Session::close()
{
    if (isConnected()) {
        packets::appendEmpty(m_outbox, PacketType::Disconnect);
        flush();
        endLink();
        // The socket stays open until the broker has closed: closing it with a message on its way
        // to us would reset the connection, and the broker would lose what it has not read.
        m_closeChecks = closeChecks;
        m_deadline->start(closeCheck);
    } else if (m_state == STATE_CONNECTING || m_state == STATE_CONNECTED) {
        endLink();
        startReconnect();
        dropSocket();
    }
}

// The connection is over for everyone but the socket, which may still have to close.
void Session::endLink()
{
    m_current = false;
    m_state = STATE_DISCONNECTED;
    m_pinging = false;
    m_deadline->stop();
    m_keepAlive->stop();
    m_outbox.clear();
    m_awaited.clear();
}

void Session::dropSocket()
{
    const auto drop = [this, link = m_link] {
        if (link == m_link && m_socket->state() != QAbstractSocket::UnconnectedState) {
            m_socket->abort();
        }
    };
    if (m_socketSignals == 0) {
        drop();
    } else {
        QMetaObject::invokeMethod(q, drop, Qt::QueuedConnection);
    }
}

void Session::fail(ClientError error)
{
    const QPointer<Client> client(q);
    const quint32 link = m_link;
    endLink();
    startReconnect();
    emit q->error(error);
    if (!client.isNull() && link == m_link) {
        dropSocket();
    }
}

void Session::socketConnected()
{
    if (!m_current) {
        return;
    }
    m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    m_deadline->start(connackWait);
    if (qobject_cast<QSslSocket *>(m_socket) == nullptr) {
        sendConnect();
    }
}

void Session::sendConnect()
{
    const SocketSignal guard(*this);
    if (!m_current) {
        return;
    }
    if (packets::appendConnect(m_outbox, settings)) {
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
        readPackets(); // the last words: a refusal, for instance, says more than the end
    }
    if (!guard.clientLives()) {
        return;
    }
    if (m_current) {
        fail(static_cast<ClientError>(error + 1));
    } else if (m_state == STATE_DISCONNECTED) {
        startReconnect(); // how a connection ends that was given up already is nobody's error
    }
}

void Session::socketDisconnected()
{
    const SocketSignal guard(*this);
    if (m_current) {
        endLink();
    }
    if (m_state == STATE_DISCONNECTED) {
        m_deadline->stop();
        startReconnect();
    }
    emit q->disconnected();
}

void Session::deadlinePassed()
{
    if (m_current) {
        fail(SocketTimeoutError);
    } else if (unsent() == 0) {
        m_socket->disconnectFromHost();
    } else if (--m_closeChecks > 0) {
        m_deadline->start(closeCheck);
    } else {
        dropSocket();
    }
}

void Session::keepAliveElapsed()
{
    const std::chrono::milliseconds keepAlive = std::chrono::seconds(m_keepAliveSeconds);
    if (m_pinging) {
        const qint64 left = unsent();
        if (m_socketSignals > 0) {
            m_keepAlive->start(); // a handler's own event loop: the socket reads nothing meanwhile
        } else if (left > 0 && left < m_unsentAtPing) {
            m_unsentAtPing = left; // a slow link: the ping may still wait behind other messages
            m_keepAlive->start();
        } else {
            fail(MqttNoPingResponse);
        }
        return;
    }
    // The standard asks only for something to be sent. But one who sends all the time and hears
    // nothing may be talking to a dead link, and would find out after many minutes.
    const std::chrono::milliseconds idle(qMax(m_lastSent.elapsed(), m_lastReceived.elapsed()));
    if (idle < keepAlive) {
        m_keepAlive->start(keepAlive - idle);
        return;
    }
    m_pinging = true;
    packets::appendEmpty(m_outbox, PacketType::Pingreq);
    flush();
    m_unsentAtPing = unsent();
    m_keepAlive->start(qMin<std::chrono::milliseconds>(keepAlive, longestPingWait));
}

// ---- Sending

void Session::flush()
{
    m_outbox.write();
    if (m_outbox.takeWritten()) {
        m_lastSent.start();
    }
}

// Bytes gathered in this pass of the event loop leave in the same pass.
void Session::flushSoon()
{
    if (m_outbox.takeWritten()) {
        m_lastSent.start();
    }
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

// False when a handler has deleted the client.
bool Session::flushLongBurst()
{
    if (m_flushing || m_socket->bytesToWrite() <= eagerFlush) {
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
    return m_socket->bytesToWrite() +
           (qobject_cast<QSslSocket *>(m_socket) != nullptr
                ? static_cast<QSslSocket *>(m_socket)->encryptedBytesToWrite()
                : 0);
}

quint16 Session::freeId(quint16 wanted)
{
    if (wanted != 0 && !m_awaited.contains(wanted)) {
        return wanted;
    }
    if (m_awaited.size() == 0xffff) {
        qCWarning(lcMqtt, "Not sent: 65535 requests wait for an answer");
        return 0;
    }
    do {
        ++m_lastId;
    } while (m_lastId == 0 || m_awaited.contains(m_lastId));
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
        m_awaited.insert(id, {qos == 1 ? PacketType::Puback : PacketType::Pubrec, message});
    }
    flushSoon();
    if (flushLongBurst() && qos == 0) {
        emit q->published(message, id);
    }
    return id;
}

void Session::subscribe(const QString &filter, quint8 qos)
{
    const quint16 id = isConnected() ? freeId() : quint16(0);
    if (id != 0 && packets::appendSubscribe(m_outbox, id, filter, qos)) {
        m_awaited.insert(id, {PacketType::Suback, Message(id, filter, {})});
        flushSoon();
    }
}

void Session::unsubscribe(const QString &filter)
{
    const quint16 id = isConnected() ? freeId() : quint16(0);
    if (id != 0 && packets::appendUnsubscribe(m_outbox, id, filter)) {
        m_awaited.insert(id, {PacketType::Unsuback, Message(id, filter, {})});
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
        // Flushing reads as well, but nobody expects received() inside of publish().
        QMetaObject::invokeMethod(
            q, [this] { readPackets(); }, Qt::QueuedConnection);
        return;
    }
    const SocketSignal guard(*this);
    while (guard.clientLives()) {
        if (!m_current) {
            m_socket->readAll(); // given up; unread data would turn closing into a reset
            return;
        }
        m_readingPaused = unsent() > unsentLimit;
        if (m_readingPaused || !m_reader.readFrom(*m_socket)) {
            return;
        }
        m_lastReceived.start();
        Packet packet;
        PacketReader::Next next = PacketReader::Next::HasPacket;
        while (guard.clientLives() && m_current &&
               (next = m_reader.next(packet)) == PacketReader::Next::HasPacket) {
            if (!handle(packet)) {
                next = PacketReader::Next::Broken;
                break;
            }
        }
        if (next == PacketReader::Next::Broken) {
            qCWarning(lcMqtt, "The broker broke the protocol; the connection is cut");
            fail(SocketOperationError);
            return;
        }
    }
}

// False: the packet breaks the protocol. A handler emits last, and answers true thereafter.
bool Session::handle(const Packet &packet)
{
    switch (packet.type) {
    case PacketType::Connack:
        return handleConnack(packet);
    case PacketType::Publish:
        return handlePublish(packet);
    case PacketType::Pingresp:
        if (m_pinging) {
            m_pinging = false;
            m_keepAlive->start(std::chrono::seconds(m_keepAliveSeconds));
            emit q->pingresp();
        }
        return true;
    default:
        return handleAnswer(packet);
    }
}

bool Session::handleConnack(const Packet &packet)
{
    const bool sessionPresent = settings.version == V3_1_1 && (packet.body[0] & 1) != 0;
    const auto code = static_cast<uchar>(packet.body[1]);
    if (settings.version == V3_1_1 && (packet.body[0] & 0xfe) != 0) {
        return false; // reserved; 3.1.0 leaves the whole byte open
    }
    if (code != 0) {
        fail(code <= 5 ? static_cast<ClientError>(MqttUnacceptableProtocolVersionError + code - 1)
                       : UnknownError);
        return true;
    }
    if (settings.cleanSession || !sessionPresent) {
        m_received.clear();
    }
    m_deadline->stop();
    m_state = STATE_CONNECTED;
    if (m_keepAliveSeconds > 0) {
        m_keepAlive->start(std::chrono::seconds(m_keepAliveSeconds));
    }
    emit q->connected();
    return true;
}

bool Session::handlePublish(const Packet &packet)
{
    const auto qos = static_cast<quint8>((packet.flags >> 1) & 3);
    const int topicSize = int16At(packet.body);
    const int headSize = 2 + topicSize + (qos > 0 ? 2 : 0);
    QString topic;
    if (headSize > packet.size || !packets::decodeTopic(packet.body + 2, topicSize, topic)) {
        return false;
    }
    quint16 id = 0;
    if (qos > 0) {
        id = int16At(packet.body + 2 + topicSize);
        if (id == 0) {
            return false;
        }
        acknowledge(qos == 1 ? PacketType::Puback : PacketType::Pubrec, id);
    }
    if (qos == 2) {
        if (m_received.contains(id)) {
            return true; // sent once more, because our answer was late
        }
        m_received.insert(id);
    }
    emit q->received(Message(id, topic, QByteArray(packet.body + headSize, packet.size - headSize),
                             qos, (packet.flags & 1) != 0, (packet.flags & 8) != 0));
    return true;
}

bool Session::handleAnswer(const Packet &packet)
{
    const quint16 id = int16At(packet.body);
    if (packet.type == PacketType::Pubrel) {
        // Also for an unknown number: the broker may remember more of a session than we do.
        if (id != 0) {
            m_received.remove(id);
            acknowledge(PacketType::Pubcomp, id);
        }
        return id != 0;
    }
    const auto awaited = m_awaited.find(id);
    if (awaited == m_awaited.end()) {
        return false;
    }
    if (packet.type == PacketType::Pubrec &&
        (awaited->answer == PacketType::Pubrec || awaited->answer == PacketType::Pubcomp)) {
        awaited->answer = PacketType::Pubcomp;
        acknowledge(PacketType::Pubrel, id);
        return true;
    }
    const auto granted = static_cast<uchar>(packet.body[packet.size - 1]);
    if (packet.type != awaited->answer ||
        (packet.type == PacketType::Suback && granted > 2 && granted != 0x80)) {
        return false;
    }
    const Message message = awaited->message;
    m_awaited.erase(awaited);
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
