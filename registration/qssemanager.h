#pragma once

#include "registration/eventstreamparser.h"

#include <QJsonObject>
#include <QNetworkReply>
#include <QObject>
#include <QString>
#include <QUrl>

class QNetworkAccessManager;

// One event stream from an HTTP server: one long GET, and a signal for each event of its answer.
// Lives on its owner's thread, where every call is made and every signal emitted. Does not
// reconnect. A handler of any signal may close, reopen or destroy the client; what was received
// on the old stream and not delivered yet is dropped then.
//
// Credentials travel on the stream. So it is opened over HTTPS, with TLS 1.2 or later, and over
// plain HTTP to this computer's loopback addresses only.
class QSSEManager : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool silent READ isSilent WRITE setSilent)

public:
    explicit QSSEManager(QObject *parent = nullptr);
    ~QSSEManager() override;

    // request() for `url` with one query item for each member of `query`, in the order of the
    // keys; they replace a query of the url's own. What is not a string counts as empty.
    bool open(const QString &url, const QJsonObject &query);
    // Starts the stream. False, and nothing is changed, when one is open or when credentials
    // must not travel to this address (logged). Failures of the network come as finished().
    bool request(const QUrl &url);
    // True from request() until the answer ended or was given up.
    bool isOpen() const;

    // Longest line and event that are believed; a stream that exceeds them fails. Takes effect
    // at once.
    void setLimits(const EventStreamParser::Limits &limits);
    // Milliseconds; what the stream last named, else 3000. Nothing here acts on it.
    int retry() const;
    // Kept for the owner; nothing here acts on it.
    bool isSilent() const;
    void setSilent(bool on);

signals:
    // The stream was released, by close(), by sse_finished() or as failed.
    void closed();
    // close() released a stream that was still open; closed() follows.
    void disconnected();
    // The answer ended: the server closed it, the network failed, or its content was refused.
    // Once for each stream; never after close().
    void finished();
    void dataReady(const QString &event, const QString &data, const QString &eid);

public slots:
    // Gives the stream up on purpose.
    void close();
    // The same from the event loop, for handlers of dataReady(). Nothing happens if the stream
    // was replaced by another one meanwhile.
    void closeLater();
    void dataReceived();
    void error(QNetworkReply::NetworkError code);
    void redirected(const QUrl &url);
    // Delivers what has been received and gives the stream up as finished.
    void sse_finished();

private:
    class Delivery;

    void replyFinished();
    void release();
    void announceEnd();
    void fail(const char *reason);

    // A reply is never deleted here while one of its signals is being delivered.
    QNetworkAccessManager *m_manager = nullptr;
    QNetworkReply *m_reply = nullptr;
    EventStreamParser m_parser;
    bool m_silent = false;
    quint64 m_stream = 0; // changes with every release, so a handler's doings are noticed
    int m_deliveries = 0; // signals of a reply that are on the stack
};
