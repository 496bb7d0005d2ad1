#include "mqtt/client.h"

#include "mqtt/session.h"

#include <QSslSocket>

namespace QMQTT {

Client::Client(const QHostAddress &host, quint16 port, QObject *parent)
    : QObject(parent)
    , d(new Session(this, m_settings, new QTcpSocket(this)))
{
    m_settings.hostName = host.toString();
    m_settings.port = port;
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
    d = std::make_unique<Session>(this, m_settings, socket);
    m_settings.hostName = hostName;
    m_settings.port = port;
}

Client::~Client()
{
    d->shutDown();
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
    d->sendRequest(PacketType::Subscribe, topic, qos);
}
void Client::unsubscribe(const QString &topic)
{
    d->sendRequest(PacketType::Unsubscribe, topic);
}
quint16 Client::publish(const QMQTT::Message &message)
{
    return d->publish(message);
}

} // namespace QMQTT
