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
// What is published while there is no connection, or while the connection is stalled, waits in
// a pending list and goes out in order, oldest first, as soon as it can. The list survives
// stop(); the subscriptions do not.
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
    // Messages that wait for a connection that takes them.
    int pendingCount() const { return static_cast<int>(m_pending.size()); }

    // A socket with more than this unsent takes no further message. Bytes.
    static constexpr qint64 stalledAt = 1024LL * 1024;
    // A pending list above this (payloads, and 128 bytes for each message) loses its
    // oldest messages, with a log line: an outage of weeks must not end in a full memory.
    static constexpr qint64 pendingLimit = 512LL * 1024 * 1024;

public slots:
    // Begins to connect; the outcome arrives as connectivityChanged(). A client that exists is
    // stopped first. `keepAlive` in seconds, 120 when it is not positive. Reads the credentials
    // anew. False, with the reason in lastError(), when there is nothing to connect with.
    bool start(const QString &clientId, int keepAlive, const QString &host, quint16 port);
    // Ends the connection and forgets the subscriptions. Runs a local event loop for 2.5 s at
    // the most, until the socket has closed.
    void stop();

    // Publishes a thing's state, at once when the connection takes it. An id that cannot be part
    // of a topic is logged and dropped.
    void publish(const QString &tid, const QJsonObject &jdata);
    void publish(const QString &tid, const QByteArray &payload);
    // Drops the states that wait, except those of these things, with a log line. For identities
    // that are void or replaced: their states must not go out under the next one.
    void discardPending(const QSet<QString> &exceptOf = {});
    // Subscriptions to a thing's updates; renewed at every connection until stop().
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
    void append(const QMQTT::Message &message);
    void drain();
    QString stateTopic(const QString &tid);
    void logFailure(const QString &text);

    QMQTT::Client *m_client = nullptr; // deleted (deferred) by stop()
    QSet<QString> m_subscriptions;
    std::deque<QMQTT::Message> m_pending;
    QString m_lastError;
    // Failures since the last connection. Each is logged once: an attempt every ten seconds would
    // push all else out of the log.
    QStringList m_logged;

    QPointer<QSslSocket> m_socket;
    qint64 m_pendingBytes = 0;
    qint64 m_dropped = 0;
    bool m_ready = false;             // connected and subscribed again
    bool m_draining = false;          // published() arrives inside of publish()
    QHash<QString, QString> m_topics; // id to checked state topic; null for one to be dropped
};

// Registers the types that travel through queued connections. Any number of calls.
void registerCloudMetaTypes();
