#pragma once

#include "mqtt/message.h"

#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QSslConfiguration>
#include <QSslError>
#include <QString>

#include <memory>

namespace QMQTT {

class Session;

enum MQTTVersion { V3_1_0 = 3, V3_1_1 = 4 };

enum ConnectionState { STATE_INIT = 0, STATE_CONNECTING, STATE_CONNECTED, STATE_DISCONNECTED };

// 1 to 23 are QAbstractSocket::SocketError + 1; from 0x10000 on stand the return codes of
// CONNACK, from 1 on, and what the protocol itself finds.
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
    SocketOperationError, // also: the broker broke the protocol
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

// One connection to an MQTT broker. Lives on its owner's thread, with its socket (a child, the
// same object for the client's life) and its timers; moveToThread() only while not connected.
//
// Every slot may be called from every signal's handler, deleteLater() included. Nothing is kept
// over the end of a connection: messages of quality of service 1 and 2 that are not acknowledged
// by then are forgotten.
class Client : public QObject
{
    Q_OBJECT

public:
    // Plain TCP.
    explicit Client(const QHostAddress &host = QHostAddress::LocalHost, quint16 port = 1883,
                    QObject *parent = nullptr);
    // TLS with `config` as it stands. `ignoreSelfSigned` forgives a certificate that is, or
    // hangs from, a self-signed one, and no other error.
    Client(const QString &hostName, quint16 port, const QSslConfiguration &config,
           bool ignoreSelfSigned = false, QObject *parent = nullptr);
    // Cuts a connection off, without a signal.
    ~Client() override;

    QString hostName() const;
    quint16 port() const;
    QString clientId() const;
    QString username() const;
    QByteArray password() const;
    MQTTVersion version() const;
    quint16 keepAlive() const;
    bool cleanSession() const;
    bool autoReconnect() const;
    int autoReconnectInterval() const;
    // Turns to disconnected as soon as disconnectFromHost() is called, before the socket closes.
    ConnectionState connectionState() const;
    // From an accepted CONNACK until the connection ends. Never true for a socket that is not
    // connected.
    bool isConnectedToHost() const;
    // Null for a plain client.
    QSslConfiguration sslConfiguration() const;

public slots:
    // The setters of what CONNECT carries count from the next connection on.
    void setHostName(const QString &hostName);
    void setPort(quint16 port);
    void setClientId(const QString &clientId);
    // An empty name means none; a password goes only with a name.
    void setUsername(const QString &username);
    void setPassword(const QByteArray &password);
    void setVersion(QMQTT::MQTTVersion version);
    void setKeepAlive(quint16 seconds); // 0: none
    void setCleanSession(bool cleanSession);
    // Every disconnect and every error of the socket starts the reconnection timer, also a
    // disconnect that was asked for. Switching off stops the timer.
    void setAutoReconnect(bool autoReconnect);
    void setAutoReconnectInterval(int milliseconds);

    // Begins to connect; the outcome arrives as connected() or error(). Does nothing while
    // connecting or connected. Cuts off a previous connection that is still closing.
    void connectToHost();
    // Sends what was published and DISCONNECT; the socket closes when the broker does, or about
    // a second after the last byte has left. While still connecting: gives up at once.
    // disconnected() follows when there was a connection of the socket.
    void disconnectFromHost();

    // Do nothing while not connected. A filter that the standard forbids is logged and dropped.
    void subscribe(const QString &topic, quint8 qos = 0);
    void unsubscribe(const QString &topic);

    // The message's number. 0 when nothing was sent: while not connected, or, with a log line,
    // for a topic or size that the standard forbids or with 65535 messages unacknowledged. A
    // message's own id is used for quality of service 1 and 2 when it is free.
    quint16 publish(const QMQTT::Message &message);

signals:
    void connected();
    // The socket's connection has ended, accepted by the broker or not.
    void disconnected();
    // The connection, or the attempt, has failed; it ends by itself.
    void error(const QMQTT::ClientError error);
    // `qos` as the broker granted it; 128 when it refused the subscription.
    void subscribed(const QString &topic, const quint8 qos);
    void unsubscribed(const QString &topic);
    // Quality of service 0: before publish() returns. 1: at PUBACK, 2: at PUBCOMP.
    void published(const QMQTT::Message &message, quint16 msgid);
    void received(const QMQTT::Message &message);
    void pingresp();
    void sslErrors(const QList<QSslError> &errors);

private:
    Q_DISABLE_COPY(Client)

    std::unique_ptr<Session> d;
};

} // namespace QMQTT

Q_DECLARE_METATYPE(QMQTT::ClientError)
