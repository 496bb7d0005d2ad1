#pragma once

#include "cloud/connectionfailure.h"
#include "cloud/credentialstore.h"
#include "outbox/outbox.h"

#include <QHash>
#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QStringList>

#include <deque>

class QSslSocket;
namespace QMQTT {
class Client;
class Message;
} // namespace QMQTT

// The gateway's one connection to the cloud: MQTT 3.1.1 over TLS with a client certificate.
// Knows topics, not things. Lives on its owner's thread; every slot runs there.
//
// What cannot be published at once waits in the outbox, which survives stop() and the process; the
// subscriptions do not survive stop(). The outbox is sent oldest first, and nothing overtakes it.
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
    // start() succeeded, and stop() did not follow.
    bool isStarted() const { return m_client != nullptr; }
    // Of the last attempt; null before it failed.
    ConnectionFailure failure() const { return m_failure; }
    // Dates in milliseconds since 1970, by the present date; 0 when there is none.
    qint64 connectedSince() const { return dateOf(m_connectedSince); }
    qint64 nextAttempt() const { return dateOf(m_nextAttempt); }
    Outbox &outbox() { return m_outbox; }
    // Messages of the outbox that the broker has not confirmed.
    int pendingCount() const { return static_cast<int>(m_outbox.waiting()); }

    // A state that is published now does not wait. outbox().changed() tells when this may be so
    // again.
    bool sendsAtOnce() const { return m_outbox.isEmpty() && canSend(); }

    // Bytes. No more is handed to the connection than the broker has confirmed and this: what is in
    // the buffers of sockets and kernels is lost when the broker dies.
    static constexpr qint64 maxInFlight = 256LL * 1024;

public slots:
    // Begins to connect; the outcome arrives as connectivityChanged(). Stops an existing connection
    // first. `keepAlive` in seconds; 120 if it is not positive. Reads the credential files. False,
    // with the reason in lastError(), if the id or the credentials are missing or invalid.
    bool start(const QString &clientId, int keepAlive, const QString &host, quint16 port);
    // Ends the connection and forgets the subscriptions. Runs local event loops for up to 2.5 s,
    // until the broker has what was sent and the socket has closed.
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
    // What isConnected(), isStarted(), failure() or nextAttempt() return may have changed.
    void linkChanged();

private slots:
    void client_connected();
    void client_disconnected();
    void client_error(int error); // QMQTT::ClientError
    void client_subscribed(const QString &topic);
    void client_unsubscribed(const QString &topic);
    void client_published(const QMQTT::Message &message);
    void client_received(const QMQTT::Message &message);

private:
    // Handed to the connection: bytes, and messages from the outbox.
    struct Sent
    {
        qint64 bytes = 0;
        qint64 fromOutbox = 0;
    };

    bool canSend() const;
    void send(const QString &topic, const QByteArray &payload, bool fromOutbox);
    void sendPending();
    void requestConfirmation();
    void confirm(const QString &topic);
    bool awaitConfirmations(const QMQTT::Client &client);
    void forgetInFlight();
    void readLimits();
    QString stateTopic(const QString &tid);
    void logFailure(const QString &text);
    void setDisconnected(std::chrono::milliseconds untilNextAttempt);
    static qint64 dateOf(qint64 time);

    QMQTT::Client *m_client = nullptr; // deleted (deferred) by stop()
    QSet<QString> m_subscriptions;
    Outbox m_outbox;
    QString m_lastError;
    ConnectionFailure m_failure;
    bool m_hasTlsFailure = false; // tells more than the error that follows
    // On the clock of QDeadlineTimer: the computer's date may change. 0: none.
    qint64 m_connectedSince = 0;
    qint64 m_nextAttempt = 0;
    // Since the last connection. Each is logged once: an attempt every ten seconds would push
    // everything else out of the log.
    QStringList m_loggedFailures;

    QPointer<QSslSocket> m_socket;
    QString m_confirmationTopic;
    qint64 m_inFlight = 0;          // bytes
    Sent m_unrequested;             // sent since the last request for a confirmation
    std::deque<Sent> m_unconfirmed; // before each request that is under way
    bool m_resubscribed = false;    // since the connection was made
    bool m_sendingPending = false;
    bool m_stopping = false;               // the confirmations are those of the former connection
    QHash<QString, QString> m_stateTopics; // by thing id; null if the id is invalid
};

// Registers the types that queued connections carry. May be called repeatedly.
void registerCloudMetaTypes();
