#pragma once

#include "mqtt/message.h"

#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QSslConfiguration>
#include <QSslError>
#include <QString>
#include <QUuid>

#include <memory>

namespace QMQTT {

class Session;

enum MQTTVersion { V3_1_0 = 3, V3_1_1 = 4 };

enum ConnectionState { STATE_INIT = 0, STATE_CONNECTING, STATE_CONNECTED, STATE_DISCONNECTED };

// 1 to 23: QAbstractSocket::SocketError + 1. From 0x10000: the CONNACK return codes 1 to 5, then
// errors of the protocol.
enum ClientError {
    UnknownError = 0,
    SocketConnectionRefusedError,
    SocketRemoteHostClosedError,
    SocketHostNotFoundError,
    SocketAccessError,
    SocketResourceError,
    SocketTimeoutError,
    SocketDatagramTooLargeError,
    SocketNetworkError,
    SocketAddressInUseError,
    SocketAddressNotAvailableError,
    SocketUnsupportedSocketOperationError,
    SocketUnfinishedSocketOperationError,
    SocketProxyAuthenticationRequiredError,
    SocketSslHandshakeFailedError,
    SocketProxyConnectionRefusedError,
    SocketProxyConnectionClosedError,
    SocketProxyConnectionTimeoutError,
    SocketProxyNotFoundError,
    SocketProxyProtocolError,
    SocketOperationError, // also: a protocol violation by the broker
    SocketSslInternalError,
    SocketSslInvalidUserDataError,
    SocketTemporaryError,
    MqttUnacceptableProtocolVersionError = 0x10000,
    MqttIdentifierRejectedError,
    MqttServerUnavailableError,
    MqttBadUserNameOrPasswordError,
    MqttNotAuthorizedError,
    MqttNoPingResponse
};

// What a client uses at its next connection.
struct Settings
{
    QString hostName;
    quint16 port = 0;
    // 22 characters: MQTT 3.1.0 allows 23.
    QString clientId =
        QLatin1String("qmqtt-") + QUuid::createUuid().toString(QUuid::Id128).left(16);
    QString username;
    QByteArray password;
    MQTTVersion version = V3_1_0;
    quint16 keepAlive = 300;
    bool cleanSession = true;
};

// One connection to an MQTT broker. Lives on its owner's thread, with its socket (a child, the
// same object for the client's life) and its timers; moveToThread() only while not connected.
//
// Every slot, deleteLater() included, may be called from a handler of any signal. When a connection
// ends, unacknowledged messages of quality of service 1 and 2 are dropped.
class Client : public QObject
{
    Q_OBJECT

public:
    // Plain TCP.
    explicit Client(const QHostAddress &host = QHostAddress::LocalHost, quint16 port = 1883,
                    QObject *parent = nullptr);
    // TLS with `config`. `ignoreSelfSigned` accepts a self-signed certificate, also at the root of
    // the chain, and ignores no other error.
    Client(const QString &hostName, quint16 port, const QSslConfiguration &config,
           bool ignoreSelfSigned = false, QObject *parent = nullptr);
    // Aborts the connection without a signal.
    ~Client() override;

    QString hostName() const { return m_settings.hostName; }
    quint16 port() const { return m_settings.port; }
    QString clientId() const { return m_settings.clientId; }
    QString username() const { return m_settings.username; }
    QByteArray password() const { return m_settings.password; }
    MQTTVersion version() const { return m_settings.version; }
    quint16 keepAlive() const { return m_settings.keepAlive; }
    bool cleanSession() const { return m_settings.cleanSession; }
    bool autoReconnect() const;
    int autoReconnectInterval() const;
    // Turns to disconnected as soon as disconnectFromHost() is called, before the socket closes.
    ConnectionState connectionState() const;
    // True from an accepted CONNACK until the connection ends.
    bool isConnectedToHost() const;
    // Null for a client without TLS.
    QSslConfiguration sslConfiguration() const;

public slots:
    // Host, port and the values that CONNECT carries take effect at the next connection.
    void setHostName(const QString &hostName) { m_settings.hostName = hostName; }
    void setPort(quint16 port) { m_settings.port = port; }
    void setClientId(const QString &clientId) { m_settings.clientId = clientId; }
    // An empty name means none; the password is only sent with a name.
    void setUsername(const QString &username) { m_settings.username = username; }
    void setPassword(const QByteArray &password) { m_settings.password = password; }
    void setVersion(QMQTT::MQTTVersion version) { m_settings.version = version; }
    void setKeepAlive(quint16 seconds) { m_settings.keepAlive = seconds; } // 0: no pings
    void setCleanSession(bool cleanSession) { m_settings.cleanSession = cleanSession; }
    // When on, every end of a connection or attempt starts the reconnection timer: a disconnect
    // (also by disconnectFromHost()), a socket error, a rejecting CONNACK. Switching off stops it.
    void setAutoReconnect(bool autoReconnect);
    void setAutoReconnectInterval(int milliseconds);

    // Begins to connect; the outcome arrives as connected() or error(). Does nothing while
    // connecting or connected. Aborts a previous connection that is still closing.
    void connectToHost();
    // Sends what was published and DISCONNECT; the socket closes when the broker closes it, or
    // about a second after the last byte was sent. While still connecting: aborts at once.
    // disconnected() follows if the socket was connected.
    void disconnectFromHost();

    // Do nothing while not connected. A filter that the standard forbids is logged and ignored.
    void subscribe(const QString &topic, quint8 qos = 0);
    void unsubscribe(const QString &topic);

    // Returns the packet id; 0 when nothing was sent: while not connected, or, with a log line,
    // for a topic or size that the standard forbids or with 65535 packets unacknowledged. With
    // quality of service 1 and 2, the message's own id is used if it is free.
    quint16 publish(const QMQTT::Message &message);

signals:
    void connected();
    // The socket was connected and has closed, whether or not the broker had accepted the client.
    void disconnected();
    // The connection or the attempt failed; the client closes it.
    void error(const QMQTT::ClientError error);
    // `qos` as the broker granted it; 128 if it rejected the subscription.
    void subscribed(const QString &topic, const quint8 qos);
    void unsubscribed(const QString &topic);
    // Quality of service 0: before publish() returns. 1: at PUBACK, 2: at PUBCOMP.
    void published(const QMQTT::Message &message, quint16 msgid);
    void received(const QMQTT::Message &message);
    void pingresp();
    void sslErrors(const QList<QSslError> &errors);

private:
    Q_DISABLE_COPY(Client)

    Settings m_settings;
    std::unique_ptr<Session> d;
};

} // namespace QMQTT

Q_DECLARE_METATYPE(QMQTT::ClientError)
