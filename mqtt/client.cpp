#include "mqtt/client.h"

#include "mqtt/session.h"

#include <QSslSocket>

namespace QMQTT {

Client::Client(const QHostAddress &host, quint16 port, QObject *parent)
    : QObject(parent)
    , d(new Session(this, new QTcpSocket(this)))
{
    d->settings.hostName = host.toString();
    d->settings.port = port;
}

Client::Client(const QString &hostName, quint16 port, const QSslConfiguration &config,
               bool ignoreSelfSigned, QObject *parent)
    : QObject(parent)
{
    auto *const socket = new QSslSocket(this);
    socket->setSslConfiguration(config);
    connect(socket, QOverload<const QList<QSslError> &>::of(&QSslSocket::sslErrors), this,
            [this, socket, ignoreSelfSigned](const QList<QSslError> &errors) {
                QList<QSslError> ignored;
                for (const QSslError &error : errors) {
                    if (ignoreSelfSigned &&
                        (error.error() == QSslError::SelfSignedCertificate ||
                         error.error() == QSslError::SelfSignedCertificateInChain)) {
                        ignored << error;
                    }
                }
                // Also an empty list: the socket keeps the list of the previous connection.
                socket->ignoreSslErrors(ignored);
                d->forwardSslErrors(errors);
            });
    d = std::make_unique<Session>(this, socket);
    d->settings.hostName = hostName;
    d->settings.port = port;
}

Client::~Client()
{
    d->shutDown();
}

QString Client::hostName() const
{
    return d->settings.hostName;
}
quint16 Client::port() const
{
    return d->settings.port;
}
QString Client::clientId() const
{
    return d->settings.clientId;
}
QString Client::username() const
{
    return d->settings.username;
}
QByteArray Client::password() const
{
    return d->settings.password;
}
MQTTVersion Client::version() const
{
    return d->settings.version;
}
quint16 Client::keepAlive() const
{
    return d->settings.keepAlive;
}
bool Client::cleanSession() const
{
    return d->settings.cleanSession;
}
bool Client::autoReconnect() const
{
    return d->autoReconnect();
}
int Client::autoReconnectInterval() const
{
    return d->autoReconnectInterval();
}
ConnectionState Client::connectionState() const
{
    return d->state();
}
bool Client::isConnectedToHost() const
{
    return d->isConnected();
}

QSslConfiguration Client::sslConfiguration() const
{
    const auto *const socket = findChild<QSslSocket *>();
    return socket != nullptr ? socket->sslConfiguration() : QSslConfiguration();
}

void Client::setHostName(const QString &hostName)
{
    d->settings.hostName = hostName;
}
void Client::setPort(quint16 port)
{
    d->settings.port = port;
}
void Client::setClientId(const QString &clientId)
{
    d->settings.clientId = clientId;
}
void Client::setUsername(const QString &username)
{
    d->settings.username = username;
}
void Client::setPassword(const QByteArray &password)
{
    d->settings.password = password;
}
void Client::setVersion(QMQTT::MQTTVersion version)
{
    d->settings.version = version;
}
void Client::setKeepAlive(quint16 seconds)
{
    d->settings.keepAlive = seconds;
}
void Client::setCleanSession(bool cleanSession)
{
    d->settings.cleanSession = cleanSession;
}
void Client::setAutoReconnect(bool autoReconnect)
{
    d->setAutoReconnect(autoReconnect);
}

void Client::setAutoReconnectInterval(int milliseconds)
{
    d->setAutoReconnectInterval(milliseconds);
}

void Client::connectToHost()
{
    d->open();
}
void Client::disconnectFromHost()
{
    d->close();
}
void Client::subscribe(const QString &topic, quint8 qos)
{
    d->subscribe(topic, qos);
}
void Client::unsubscribe(const QString &topic)
{
    d->unsubscribe(topic);
}
quint16 Client::publish(const QMQTT::Message &message)
{
    return d->publish(message);
}

} // namespace QMQTT
