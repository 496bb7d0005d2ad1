#include "cloud/velmorcloudclient.h"

#include "cloud/log.h"
#include "cloud/topics.h"
#include "settings/defaults.h"

#include <QDateTime>
#include <QEventLoop>
#include <QFile>
#include <QJsonDocument>
#include <QMetaType>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslError>
#include <QSslKey>
#include <QSslSocket>
#include <QTimer>

#include <chrono>
#include <limits>
#include <utility>

Q_LOGGING_CATEGORY(lcCloud, "kvg.cloud")

using namespace std::chrono_literals;

namespace {

constexpr int defaultKeepAlive = 120; // seconds
constexpr std::chrono::milliseconds reconnectInterval = 10s;
constexpr std::chrono::milliseconds stopCheckInterval = 250ms;
constexpr int maxStopChecks = 11; // the first at once
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

QString textOf(QMQTT::ClientError error)
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

const char registerAgain[] = "register the gateway again";
const char checkClock[] = "check the date and the time of this computer";

struct TlsAlert
{
    const char *name; // in OpenSSL's error text, after the word "alert"
    const char *cause;
    const char *cure;
};
constexpr char certificateRejected[] = "the cloud rejects the certificate of this gateway";
constexpr char noCommonTls[] = "the cloud and this gateway have no TLS version or cipher in common";
constexpr char checkProxy[] = "check for a proxy or a virus scanner in between";
const TlsAlert tlsAlerts[] = {
    {"certificate expired", "for the cloud the certificate of this gateway has expired",
     "check the date and the time of this computer, then register the gateway again"},
    {"certificate revoked", "the certificate of this gateway was revoked", registerAgain},
    {"unknown ca", "the cloud does not know who issued the certificate of this gateway",
     registerAgain},
    {"bad certificate", certificateRejected, registerAgain},
    {"certificate required", certificateRejected, registerAgain},
    {"certificate unknown", certificateRejected, registerAgain},
    {"unsupported certificate", certificateRejected, registerAgain},
    {"access denied", certificateRejected, registerAgain},
    {"decrypt error", certificateRejected, registerAgain},
    {"protocol version", noCommonTls, checkProxy},
    {"handshake failure", noCommonTls, checkProxy},
    {"insufficient security", noCommonTls, checkProxy},
};

// For the log: the cause of a failure and what the user can do about it.
QString explanation(QMQTT::ClientError error, const QString &detail)
{
    const QString format = QStringLiteral("%1: %2");
    const int alert = detail.indexOf(QLatin1String(" alert "));
    if (alert >= 0) {
        for (const TlsAlert &known : tlsAlerts) {
            if (detail.indexOf(QLatin1String(known.name), alert) >= 0) {
                return format.arg(QLatin1String(known.cause), QLatin1String(known.cure));
            }
        }
    }
    switch (error) {
    case QMQTT::SocketConnectionRefusedError:
        return QStringLiteral("no server at that address, or a firewall blocks it: check the "
                              "cloud's address and port in the settings, and the firewall");
    case QMQTT::SocketHostNotFoundError:
        return QStringLiteral("host name lookup failed: check the network and the cloud's address "
                              "in the settings");
    case QMQTT::SocketTimeoutError:
    case QMQTT::SocketNetworkError:
        return QStringLiteral("the cloud cannot be reached: check the network and the firewall");
    case QMQTT::SocketRemoteHostClosedError:
        return QStringLiteral("the cloud closed the connection; retrying");
    case QMQTT::SocketSslHandshakeFailedError:
    case QMQTT::SocketSslInternalError:
        return QStringLiteral("TLS handshake failed: see the messages above");
    case QMQTT::MqttUnacceptableProtocolVersionError:
        return QStringLiteral("the cloud does not speak MQTT 3.1.1: check its address");
    case QMQTT::MqttIdentifierRejectedError:
    case QMQTT::MqttBadUserNameOrPasswordError:
    case QMQTT::MqttNotAuthorizedError:
        return format.arg("the cloud rejects the registration of this gateway",
                          QLatin1String(registerAgain));
    case QMQTT::MqttServerUnavailableError:
        return QStringLiteral("the cloud is out of service; retrying");
    case QMQTT::MqttNoPingResponse:
        return QStringLiteral("the cloud does not answer pings; retrying");
    default:
        return QStringLiteral("retrying");
    }
}

QString explanation(const QSslError &error)
{
    const char *cure = nullptr;
    switch (error.error()) {
    case QSslError::CertificateNotYetValid:
    case QSslError::CertificateExpired:
        cure = checkClock;
        break;
    case QSslError::HostNameMismatch:
        cure = "check the cloud's address in the settings";
        break;
    default:
        cure = "this build trusts another cloud, or the connection is intercepted";
    }
    return QStringLiteral("Broker certificate rejected: %1 - %2")
        .arg(error.errorString(), QLatin1String(cure));
}

QList<QSslCertificate> trustedAuthorities()
{
    // Named after the compiled-in host, not the setting: the host that a user typed must not decide
    // which authorities are trusted.
    QFile file(QStringLiteral(":/cacerts/%1.ca").arg(QLatin1String(defaults::CloudHost)));
    const QList<QSslCertificate> authorities =
        file.open(QIODevice::ReadOnly) ? QSslCertificate::fromData(file.readAll(), QSsl::Pem)
                                       : QList<QSslCertificate>();
    if (authorities.isEmpty()) {
        qCWarning(lcCloud) << "No trusted authority in" << file.fileName()
                           << "- every broker certificate will be rejected";
    }
    return authorities;
}

qint64 memoryOf(const QMQTT::Message &message)
{
    constexpr qint64 overhead = 128; // message, list node and allocation: about 100 measured
    return message.payload().size() + overhead;
}

} // namespace

void registerCloudMetaTypes()
{
    qRegisterMetaType<QMQTT::ClientError>("QMQTT::ClientError");
    qRegisterMetaType<QMQTT::Message>("QMQTT::Message");
}

VelmorCloudClient::VelmorCloudClient(QObject *parent)
    : QObject(parent)
    , m_lastError(QStringLiteral("no error"))
{
    registerCloudMetaTypes();
}

VelmorCloudClient::~VelmorCloudClient()
{
    stop();
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
    if (clientId.isEmpty()) {
        m_lastError = QStringLiteral("clientid cannot be empty");
        return false;
    }
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    tls.setPeerVerifyMode(QSslSocket::VerifyPeer);
    tls.setProtocol(QSsl::TlsV1_2OrLater);
    tls.setCaCertificates(trustedAuthorities());

    const CredentialStore credentials;
    const QSslKey key = credentials.key();
    if (key.isNull()) {
        m_lastError = QStringLiteral("Key is missing / invalid");
        return false;
    }
    const QSslCertificate certificate = credentials.certificate();
    if (certificate.isNull()) {
        m_lastError = QStringLiteral("Certificate is missing / invalid");
        return false;
    }
    const QDateTime now = QDateTime::currentDateTime();
    if (certificate.expiryDate() < now || certificate.effectiveDate() > now) {
        qCWarning(lcCloud).noquote() << "The certificate of this gateway is valid from"
                                     << certificate.effectiveDate().toString(Qt::ISODate) << "to"
                                     << certificate.expiryDate().toString(Qt::ISODate) << "-"
                                     << checkClock << "or" << registerAgain;
    }
    tls.setLocalCertificate(certificate);
    tls.setPrivateKey(key);

    m_client = new QMQTT::Client(QStringLiteral("localhost"), port, tls, false, nullptr);
    m_client->setAutoReconnect(true);
    m_client->setAutoReconnectInterval(static_cast<int>(reconnectInterval.count()));
    m_client->setCleanSession(true);
    m_client->setVersion(QMQTT::V3_1_1);

    connect(m_client, &QMQTT::Client::connected, this, &VelmorCloudClient::client_connected);
    connect(m_client, &QMQTT::Client::disconnected, this, &VelmorCloudClient::client_disconnected);
    connect(m_client, &QMQTT::Client::error, this, &VelmorCloudClient::client_error);
    connect(m_client, &QMQTT::Client::subscribed, this, &VelmorCloudClient::client_subscribed);
    connect(m_client, &QMQTT::Client::unsubscribed, this, &VelmorCloudClient::client_unsubscribed);
    connect(m_client, &QMQTT::Client::published, this, &VelmorCloudClient::client_published);
    connect(m_client, &QMQTT::Client::received, this, &VelmorCloudClient::client_received);
    connect(m_client, &QMQTT::Client::sslErrors, this, [this](const QList<QSslError> &errors) {
        for (const QSslError &error : errors) {
            logFailure(explanation(error));
        }
    });
    m_socket = m_client->findChild<QSslSocket *>();
    if (m_socket) {
        connect(m_socket, &QSslSocket::encryptedBytesWritten, this,
                &VelmorCloudClient::sendPending);
    }

    m_client->setHostName(host);
    m_client->setPort(port);
    m_client->setKeepAlive(
        static_cast<quint16>(qBound(1, keepAlive > 0 ? keepAlive : defaultKeepAlive,
                                    int(std::numeric_limits<quint16>::max()))));
    m_client->setClientId(clientId);
    m_client->setUsername(clientId);
    m_loggedFailures.clear();
    qCInfo(lcCloud).noquote() << "Connecting to" << host << port;
    m_client->connectToHost();
    return true;
}

void VelmorCloudClient::stop()
{
    if (m_client == nullptr) {
        return;
    }
    // Clear the members first: the event loop below may run other slots, such as start().
    QMQTT::Client *const client = std::exchange(m_client, nullptr);
    const QPointer<QSslSocket> socket = std::exchange(m_socket, nullptr);
    m_resubscribed = false;
    client->disconnect(this);
    if (socket) {
        socket->disconnect(this);
    }
    client->blockSignals(true);
    client->setAutoReconnect(false);
    m_subscriptions.clear();
    if (socket && socket->state() != QAbstractSocket::UnconnectedState) {
        if (socket->state() == QAbstractSocket::ConnectedState) {
            client->disconnectFromHost();
        } else {
            socket->abort();
        }
        const auto closed = [&socket] {
            return !socket || socket->state() == QAbstractSocket::UnconnectedState;
        };
        int checks = 1;
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
        emit connectivityChanged(false);
    }
}

bool VelmorCloudClient::canSend() const
{
    return m_resubscribed && isConnected() &&
           (!m_socket || m_socket->bytesToWrite() + m_socket->encryptedBytesToWrite() <= maxUnsent);
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
    const QMQTT::Message message(0, topic, payload, 0, false);
    if (m_pending.empty() && !m_sendingPending && canSend()) {
        m_client->publish(message);
    } else {
        addPending(message);
        sendPending();
    }
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

void VelmorCloudClient::addPending(const QMQTT::Message &message)
{
    m_pending.push_back(message);
    m_pendingBytes += memoryOf(message);
    while (m_pendingBytes > maxPendingBytes && m_pending.size() > 1) {
        m_pendingBytes -= memoryOf(m_pending.front());
        m_pending.pop_front();
        if (m_droppedCount++ == 0) {
            qCWarning(lcCloud, "Pending list full: the oldest states are dropped");
        }
    }
}

void VelmorCloudClient::discardPending(const QSet<QString> &exceptOf)
{
    std::deque<QMQTT::Message> kept;
    qint64 keptBytes = 0;
    for (const QMQTT::Message &message : m_pending) {
        if (exceptOf.contains(topics::idOfState(message.topic()))) {
            kept.push_back(message);
            keptBytes += memoryOf(message);
        }
    }
    if (kept.size() < m_pending.size()) {
        qCInfo(lcCloud, "Dropped %d pending states of an invalid registration",
               static_cast<int>(m_pending.size() - kept.size()));
        m_pending.swap(kept);
        m_pendingBytes = keptBytes;
    }
}

// A loop, because published() is emitted inside publish(): sending the next message from its
// handler would recurse once for each pending message. Not queued, because a newer state would
// overtake the pending ones.
void VelmorCloudClient::sendPending()
{
    if (m_sendingPending || m_pending.empty()) {
        return;
    }
    m_sendingPending = true;
    while (!m_pending.empty() && canSend()) {
        const QMQTT::Message message = m_pending.front();
        m_pending.pop_front();
        m_pendingBytes -= memoryOf(message);
        m_client->publish(message);
    }
    m_sendingPending = false;
    if (m_pending.empty() && m_droppedCount > 0) {
        qCWarning(lcCloud, "Dropped %lld states while they could not be sent", m_droppedCount);
        m_droppedCount = 0;
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
    }
    emit connectivityChanged(false);
}

void VelmorCloudClient::client_error(QMQTT::ClientError error)
{
    m_lastError = textOf(error);
    const QString detail = m_socket ? m_socket->errorString() : QString();
    const bool fromSocket = error < QMQTT::MqttUnacceptableProtocolVersionError;
    logFailure(QStringLiteral("Cloud connection failed, code 0x%1 (%2) - %3")
                   .arg(QString::number(error, 16), fromSocket ? detail : "MQTT",
                        explanation(error, fromSocket ? detail : QString())));
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
