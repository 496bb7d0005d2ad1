#include "cloud/velmorcloudclient.h"

#include "cloud/connectionfailure.h"
#include "cloud/log.h"
#include "cloud/topics.h"
#include "settings/settingsstore.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QJsonDocument>
#include <QMetaType>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslError>
#include <QSslKey>
#include <QSslSocket>
#include <QStandardPaths>
#include <QTimer>

#include <qmqtt.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

Q_LOGGING_CATEGORY(lcCloud, "kvg.cloud")

using namespace std::chrono_literals;

namespace {

constexpr int defaultKeepAlive = 120; // seconds
constexpr std::chrono::milliseconds reconnectInterval = 10s;
constexpr std::chrono::milliseconds stopCheckInterval = 250ms;
constexpr std::chrono::milliseconds confirmationTime = 1s;            // of the time that stop() has
constexpr int maxStopChecks = 11;                                     // the first at once
constexpr qint64 maxUnrequested = VelmorCloudClient::maxInFlight / 2; // bytes
constexpr int maxQueueSize = 1024 * 1024;                             // MiB
constexpr int maxCachedTopics = 50000;

// The texts of QMQTT::ClientError 1 to 23. 1 and 15 (the proxy's) share a text.
const char *const errorTexts[] = {
    "unknown",
    "connection refused",
    "connection closed by remote host",
    "host not found",
    "access error",
    "resource error",
    "timeout",
    "packet too big",
    "network error",
    "address in use",
    "address is not available",
    "socket operation is not supported",
    "unfinished socket operation",
    "authentication required",
    "handshake failed",
    "connection refused",
    "proxy connection closed",
    "proxy connection timeout",
    "proxy not found",
    "proxy protocol error",
    "socket operation error",
    "ssl error",
    "invalid user data",
    "temporary error",
};

QString shortText(QMQTT::ClientError error)
{
    const int value = static_cast<int>(error);
    const bool known = value > 0 && value < static_cast<int>(std::size(errorTexts));
    return QString::fromLatin1(errorTexts[known ? value : 0]);
}

// Retrying is useless: the broker would reject the client again.
bool isFinalRejection(QMQTT::ClientError error)
{
    return error == QMQTT::MqttUnacceptableProtocolVersionError ||
           error == QMQTT::MqttIdentifierRejectedError ||
           error == QMQTT::MqttBadUserNameOrPasswordError || error == QMQTT::MqttNotAuthorizedError;
}

} // namespace

void registerCloudMetaTypes()
{
    qRegisterMetaType<QMQTT::ClientError>("QMQTT::ClientError");
    qRegisterMetaType<QMQTT::Message>("QMQTT::Message");
}

VelmorCloudClient::VelmorCloudClient(QObject *parent)
    : QObject(parent)
    , m_outbox(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) +
                   QLatin1String("/outbox.db"),
               this)
    , m_lastError(QStringLiteral("no error"))
{
    registerCloudMetaTypes();
    readLimits();
}

VelmorCloudClient::~VelmorCloudClient()
{
    stop();
}

void VelmorCloudClient::readLimits()
{
    const SettingsStore store;
    m_outbox.setLimits({qBound(1, store.value(keys::QueueSize), maxQueueSize) * 1024LL * 1024,
                        std::chrono::hours(24) * qMax(0, store.value(keys::QueueDays))});
}

bool VelmorCloudClient::isConnected() const
{
    return m_client != nullptr && m_client->isConnectedToHost();
}

bool VelmorCloudClient::start(const QString &clientId, int keepAlive, const QString &host,
                              quint16 port)
{
    while (m_client != nullptr) {
        stop(); // another start() may run in its event loop
    }
    readLimits();
    if (clientId.isEmpty()) {
        m_lastError = QStringLiteral("clientid cannot be empty");
        return false;
    }
    const CredentialStore credentials;
    const QSslConfiguration tls = cloudTls(credentials);
    if (tls.privateKey().isNull()) {
        m_lastError = QStringLiteral("Key is missing / invalid");
        return false;
    }
    if (tls.localCertificate().isNull()) {
        m_lastError = QStringLiteral("Certificate is missing / invalid");
        return false;
    }
    const ConnectionFailure fault = credentials.fault();
    if (!fault.isNull()) {
        qCWarning(lcCloud).noquote() << fault.text();
    }
    m_client = new QMQTT::Client(QStringLiteral("localhost"), port, tls, false, nullptr);
    m_client->setAutoReconnect(true);
    m_client->setAutoReconnectInterval(static_cast<int>(reconnectInterval.count()));
    m_client->setCleanSession(true);
    m_client->setVersion(QMQTT::V3_1_1);

    connect(m_client, &QMQTT::Client::connected, this, &VelmorCloudClient::client_connected);
    connect(m_client, &QMQTT::Client::disconnected, this, &VelmorCloudClient::client_disconnected);
    connect(m_client, &QMQTT::Client::error, this, [this](int error) { client_error(error); });
    connect(m_client, &QMQTT::Client::subscribed, this, &VelmorCloudClient::client_subscribed);
    connect(m_client, &QMQTT::Client::unsubscribed, this, &VelmorCloudClient::client_unsubscribed);
    connect(m_client, &QMQTT::Client::unsubscribed, this, &VelmorCloudClient::confirm);
    connect(m_client, &QMQTT::Client::published, this, &VelmorCloudClient::client_published);
    connect(m_client, &QMQTT::Client::received, this, &VelmorCloudClient::client_received);
    connect(m_client, &QMQTT::Client::sslErrors, this, [this](const QList<QSslError> &errors) {
        for (const QSslError &error : errors) {
            logFailure(ConnectionFailure::of(error).text());
        }
        m_failure = errors.isEmpty() ? m_failure : ConnectionFailure::of(errors.first());
        m_hasTlsFailure = !errors.isEmpty();
    });
    m_socket = m_client->findChild<QSslSocket *>();

    m_client->setHostName(host);
    m_client->setPort(port);
    m_client->setKeepAlive(
        static_cast<quint16>(qBound(1, keepAlive > 0 ? keepAlive : defaultKeepAlive,
                                    int(std::numeric_limits<quint16>::max()))));
    m_confirmationTopic = topics::state(clientId) + QLatin1String("/confirm");
    m_client->setClientId(clientId);
    m_client->setUsername(clientId);
    m_loggedFailures.clear();
    m_failure = {};
    qCInfo(lcCloud).noquote() << "Connecting to" << host << port;
    m_client->connectToHost();
    emit linkChanged();
    return true;
}

void VelmorCloudClient::stop()
{
    if (m_client == nullptr) {
        return;
    }
    if (isConnected() && m_unrequested.bytes > 0) {
        requestConfirmation();
    }
    // Clear the members first: the event loops below may run other slots, such as start().
    QMQTT::Client *const client = std::exchange(m_client, nullptr);
    const QPointer<QSslSocket> socket = std::exchange(m_socket, nullptr);
    m_resubscribed = false;
    m_subscriptions.clear();
    m_stopping = true;
    client->disconnect(this);
    const bool confirmed = awaitConfirmations(*client);
    forgetInFlight();
    m_stopping = false;
    m_outbox.flush();
    sendPending(); // a client that was started meanwhile
    if (socket) {
        socket->disconnect(this);
    }
    client->blockSignals(true);
    client->setAutoReconnect(false);
    if (socket && socket->state() != QAbstractSocket::UnconnectedState) {
        if (socket->state() == QAbstractSocket::ConnectedState) {
            client->disconnectFromHost();
        } else {
            socket->abort();
        }
        const auto closed = [&socket] {
            return !socket || socket->state() == QAbstractSocket::UnconnectedState;
        };
        int checks = confirmed ? 1 : 1 + confirmationTime / stopCheckInterval;
        while (!closed() && checks < maxStopChecks) {
            QEventLoop loop;
            QTimer::singleShot(stopCheckInterval, &loop, &QEventLoop::quit);
            loop.exec(QEventLoop::ExcludeUserInputEvents);
            ++checks;
        }
        // Only a socket that closes at the very last check is logged. A socket that is still open
        // is deleted with the client.
        if (closed() && checks == maxStopChecks) {
            qCCritical(lcCloud, "Could not stop MQTT client");
            if (socket) {
                socket->abort();
            }
        }
    }
    client->blockSignals(false);
    client->deleteLater();
    if (!isConnected()) {
        setDisconnected(0ms);
        emit connectivityChanged(false);
    }
}

// For stop(): an answer that reaches a closed socket would reset the connection, and with it what
// the broker has not read yet.
bool VelmorCloudClient::awaitConfirmations(const QMQTT::Client &client)
{
    if (m_unconfirmed.empty() || !client.isConnectedToHost()) {
        return true;
    }
    QEventLoop loop;
    connect(&client, &QMQTT::Client::unsubscribed, this, &VelmorCloudClient::confirm);
    connect(&client, &QMQTT::Client::unsubscribed, &loop, [this, &loop] {
        if (m_unconfirmed.empty()) {
            loop.quit();
        }
    });
    connect(&client, &QMQTT::Client::disconnected, &loop, &QEventLoop::quit);
    QTimer::singleShot(confirmationTime, &loop, &QEventLoop::quit);
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    client.disconnect(this);
    return m_unconfirmed.empty();
}

bool VelmorCloudClient::canSend() const
{
    return m_resubscribed && !m_stopping && isConnected() && m_inFlight < maxInFlight;
}

void VelmorCloudClient::publish(const QString &tid, const QJsonObject &jdata)
{
    publish(tid, QJsonDocument(jdata).toJson(QJsonDocument::Compact));
}

void VelmorCloudClient::publish(const QString &tid, const QByteArray &payload)
{
    const QString topic = stateTopic(tid);
    if (topic.isNull()) {
        return;
    }
    if (sendsAtOnce()) {
        send(topic, payload, false);
        m_outbox.countDelivered();
    } else {
        m_outbox.append(tid, payload);
        sendPending();
    }
}

void VelmorCloudClient::send(const QString &topic, const QByteArray &payload, bool fromOutbox)
{
    const qint64 bytes = topic.size() + payload.size();
    m_inFlight += bytes;
    m_unrequested.bytes += bytes;
    m_unrequested.fromOutbox += fromOutbox ? 1 : 0;
    m_client->publish(QMQTT::Message(0, topic, payload, 0, false));
    if (m_unrequested.bytes >= maxUnrequested) {
        requestConfirmation();
    }
}

// Quality of service 0 has no acknowledgement. But a broker answers a client's packets in their
// order: its answer to UNSUBSCRIBE, here from a topic that nothing is subscribed to, tells that it
// has read everything before.
void VelmorCloudClient::requestConfirmation()
{
    m_unconfirmed.push_back(std::exchange(m_unrequested, {}));
    m_client->unsubscribe(m_confirmationTopic);
}

void VelmorCloudClient::confirm(const QString &topic)
{
    if (topic == m_confirmationTopic && !m_unconfirmed.empty()) {
        const Sent sent = m_unconfirmed.front();
        m_unconfirmed.pop_front();
        m_inFlight -= sent.bytes;
        m_outbox.confirm(sent.fromOutbox);
        sendPending();
    }
}

// The connection is gone: what the broker has not confirmed waits again.
void VelmorCloudClient::forgetInFlight()
{
    m_unconfirmed.clear();
    m_unrequested = {};
    m_inFlight = 0;
    m_outbox.putBack();
}

QString VelmorCloudClient::stateTopic(const QString &tid)
{
    const auto known = m_stateTopics.constFind(tid);
    if (known != m_stateTopics.constEnd()) {
        return *known;
    }
    if (m_stateTopics.size() >= maxCachedTopics) {
        m_stateTopics.clear();
    }
    const bool valid = topics::isValidId(tid);
    if (!valid) {
        qCWarning(lcCloud) << "State not published: no valid topic for the id" << tid.left(80);
    }
    return *m_stateTopics.insert(tid, valid ? topics::state(tid) : QString());
}

void VelmorCloudClient::discardPending(const QSet<QString> &exceptOf)
{
    m_outbox.discard(exceptOf);
    for (Sent &sent : m_unconfirmed) {
        sent.fromOutbox = 0; // the outbox has given them up
    }
    m_unrequested.fromOutbox = 0;
}

// A loop, because published() is emitted inside publish(): sending the next message from its
// handler would recurse once for each pending message. Not queued, because a newer state would
// overtake the pending ones.
void VelmorCloudClient::sendPending()
{
    if (m_sendingPending || m_outbox.isEmpty()) {
        return;
    }
    m_sendingPending = true;
    Outbox::Message message;
    while (canSend() && m_outbox.take(message)) {
        send(stateTopic(message.id), message.payload, true);
    }
    m_sendingPending = false;
    if (m_unconfirmed.empty() && m_unrequested.fromOutbox > 0) {
        requestConfirmation();
    }
}

void VelmorCloudClient::subscribe(const QString &tid)
{
    if (!topics::isValidId(tid)) {
        qCWarning(lcCloud) << "Updates not subscribed: no valid topic for the id" << tid.left(80);
        return;
    }
    const QString topic = topics::update(tid);
    m_subscriptions.insert(topic);
    if (isConnected()) {
        m_client->subscribe(topic, 0);
    }
}

void VelmorCloudClient::unsubscribe(const QString &tid)
{
    const QString topic = topics::update(tid);
    if (m_subscriptions.remove(topic) && isConnected()) {
        m_client->unsubscribe(topic);
    }
}

void VelmorCloudClient::client_connected()
{
    m_loggedFailures.clear();
    qCInfo(lcCloud, "Connected to the broker");
    m_failure = {};
    m_connectedSince = QDeadlineTimer::current().deadline();
    m_nextAttempt = 0;
    emit linkChanged();
    const QPointer<QMQTT::Client> client = m_client;
    emit connectivityChanged(true);
    if (client.isNull() || client != m_client || !isConnected()) {
        return; // a handler stopped the client
    }
    const QSet<QString> subscriptions = m_subscriptions;
    for (const QString &topic : subscriptions) {
        m_client->subscribe(topic, 0);
    }
    m_resubscribed = true;
    sendPending();
}

void VelmorCloudClient::client_disconnected()
{
    if (std::exchange(m_resubscribed, false)) {
        qCInfo(lcCloud, "Disconnected from the broker");
        forgetInFlight();
    }
    setDisconnected(reconnectInterval);
    emit connectivityChanged(false);
}

void VelmorCloudClient::client_error(int code)
{
    const auto error = static_cast<QMQTT::ClientError>(code);
    m_lastError = shortText(error);
    const QString detail = m_socket ? m_socket->errorString() : QString();
    const bool fromSocket = error < QMQTT::MqttUnacceptableProtocolVersionError;
    const auto failure = ConnectionFailure::of(code, fromSocket ? detail : QString());
    if (!std::exchange(m_hasTlsFailure, false)) {
        logFailure(
            QStringLiteral("Cloud connection failed, code 0x%1 (%2) - %3")
                .arg(QString::number(error, 16), fromSocket ? detail : "MQTT", failure.text()));
        m_failure = failure;
    }
    setDisconnected(reconnectInterval);
    if (isFinalRejection(error)) {
        const QPointer<QMQTT::Client> rejected = m_client;
        QMetaObject::invokeMethod(
            this,
            [this, rejected] {
                if (rejected && rejected == m_client) {
                    stop();
                }
            },
            Qt::QueuedConnection);
    }
}

// `untilNextAttempt`: 0 for no attempt.
void VelmorCloudClient::setDisconnected(std::chrono::milliseconds untilNextAttempt)
{
    m_connectedSince = 0;
    m_nextAttempt = untilNextAttempt > 0ms ? QDeadlineTimer(untilNextAttempt).deadline() : 0;
    emit linkChanged();
}

qint64 VelmorCloudClient::dateOf(qint64 time)
{
    return time == 0
               ? 0
               : QDateTime::currentMSecsSinceEpoch() + time - QDeadlineTimer::current().deadline();
}

void VelmorCloudClient::logFailure(const QString &text)
{
    if (!m_loggedFailures.contains(text)) {
        m_loggedFailures.append(text);
        qCWarning(lcCloud).noquote() << text;
    }
}

void VelmorCloudClient::client_subscribed(const QString & /*topic*/) {}

void VelmorCloudClient::client_unsubscribed(const QString & /*topic*/) {}

void VelmorCloudClient::client_published(const QMQTT::Message &message)
{
    const QString tid = topics::idOfState(message.topic());
    if (!tid.isNull()) {
        emit messagePublished(tid);
    }
    sendPending();
}

void VelmorCloudClient::client_received(const QMQTT::Message &message)
{
    const QString tid = topics::idOfUpdate(message.topic());
    if (tid.isNull()) {
        m_lastError = QStringLiteral("Received message from invalid topic %1").arg(message.topic());
        return;
    }
    emit messageReceived(tid, message.payload());
}
