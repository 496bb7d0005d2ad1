#pragma once

#include "cloud/credentialstore.h"

#include <QHash>
#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QStringList>

#include <qmqtt.h>

#include <deque>

class QSslSocket;

// The gateway's one connection to the cloud: MQTT 3.1.1 over TLS with a client certificate.
// Knows topics, not things. Lives on its owner's thread; every slot runs there.
//
// While there is no connection, or while it is stalled, published messages wait in a pending list,
// which is sent oldest first as soon as possible. The list survives stop(); the subscriptions do
// not.
class VelmorCloudClient : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool connected READ isConnected NOTIFY connectivityChanged)

public:
    using SSLStatus = CredentialStore::SSLStatus;

    explicit VelmorCloudClient(QObject *parent = nullptr);
    // Stops the client.
    ~VelmorCloudClient() override;

    bool isConnected() const;
    QString lastError() const { return m_lastError; }
    int pendingCount() const { return static_cast<int>(m_pending.size()); }

    // Bytes. With more unsent in the socket, messages go to the pending list.
    static constexpr qint64 maxUnsent = 1024LL * 1024;
    // A larger pending list drops its oldest messages, with a log line: an outage of weeks must not
    // fill the memory.
    static constexpr qint64 maxPendingBytes = 512LL * 1024 * 1024;

public slots:
    // Begins to connect; the outcome arrives as connectivityChanged(). Stops an existing connection
    // first. `keepAlive` in seconds; 120 if it is not positive. Reads the credential files. False,
    // with the reason in lastError(), if the id or the credentials are missing or invalid.
    bool start(const QString &clientId, int keepAlive, const QString &host, quint16 port);
    // Ends the connection and forgets the subscriptions. Runs a local event loop for up to 2.5 s,
    // until the socket has closed.
    void stop();

    // Publishes a thing's state. A state whose id cannot be part of a topic is logged and dropped.
    void publish(const QString &tid, const QJsonObject &jdata);
    void publish(const QString &tid, const QByteArray &payload);
    // Drops the pending states except those of these things: after a change of identity they must
    // not be published under the new one.
    void discardPending(const QSet<QString> &exceptOf = {});
    // Subscriptions to a thing's updates; repeated at every connection until stop().
    void subscribe(const QString &tid);
    void unsubscribe(const QString &tid);

signals:
    void connectivityChanged(bool on);
    void messageReceived(const QString &tid, const QByteArray &data);
    void messagePublished(const QString &tid);

private slots:
    void client_connected();
    void client_disconnected();
    void client_error(QMQTT::ClientError error);
    void client_subscribed(const QString &topic);
    void client_unsubscribed(const QString &topic);
    void client_published(const QMQTT::Message &message);
    void client_received(const QMQTT::Message &message);

private:
    bool canSend() const;
    void addPending(const QMQTT::Message &message);
    void sendPending();
    QString stateTopic(const QString &tid);
    void logFailure(const QString &text);

    QMQTT::Client *m_client = nullptr; // deleted (deferred) by stop()
    QSet<QString> m_subscriptions;
    std::deque<QMQTT::Message> m_pending;
    QString m_lastError;
    // Since the last connection. Each is logged once: an attempt every ten seconds would push
    // everything else out of the log.
    QStringList m_loggedFailures;

    QPointer<QSslSocket> m_socket;
    qint64 m_pendingBytes = 0;
    qint64 m_droppedCount = 0;
    bool m_resubscribed = false; // since the connection was made
    bool m_sendingPending = false;
    QHash<QString, QString> m_stateTopics; // by thing id; null if the id is invalid
};

// Registers the types that queued connections carry. May be called repeatedly.
void registerCloudMetaTypes();
