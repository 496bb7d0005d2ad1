#pragma once

#include "registration/eventstreamparser.h"

#include <QJsonObject>
#include <QNetworkReply>
#include <QObject>
#include <QString>
#include <QUrl>

class QNetworkAccessManager;

// An event stream from an HTTP server: one long GET, and a signal for each event in its answer.
// Lives on its owner's thread. Does not reconnect. A handler of any signal may close, reopen or
// destroy the client; events that were received but not emitted yet are then dropped.
//
// The stream carries credentials, so it needs HTTPS with TLS 1.2 or later, or plain HTTP to a
// loopback address.
class QSSEManager : public QObject
{
    Q_OBJECT
    // Stored for the owner, not used by this class.
    Q_PROPERTY(bool silent MEMBER m_silent)

public:
    explicit QSSEManager(QObject *parent = nullptr);
    ~QSSEManager() override;

    // request() for `url`, whose query is replaced by the members of `query`, in the order of the
    // keys. Members that are no strings become empty.
    bool open(const QString &url, const QJsonObject &query);
    // Starts the stream. False, with no change, if one is open or, with a log line, if the address
    // is neither HTTPS nor loopback. Network errors arrive as finished().
    bool request(const QUrl &url);
    // True from request() until the answer has ended or was closed.
    bool isOpen() const;

    // A stream that exceeds the limits fails. Takes effect at once.
    void setLimits(const EventStreamParser::Limits &limits);
    // HTTPS, or HTTP to this computer: others could read the credentials.
    static bool isTrustedAddress(const QUrl &url);

    // Milliseconds, from the stream; 3000 by default. Not used by this class.
    int retry() const;

signals:
    // Emitted after close() and sse_finished(), and after a violation of limits or redirects.
    void closed();
    // close() closed a stream that was still open; closed() follows.
    void disconnected();
    // The answer ended: the server closed it, the network failed, or its content was rejected.
    // Once for each stream; not after close().
    void finished();
    void dataReady(const QString &event, const QString &data, const QString &eid);

public slots:
    // Closes the stream without finished().
    void close();
    // Queues close(), for handlers of dataReady(). Has no effect if the stream was replaced
    // meanwhile.
    void closeLater();
    void dataReceived();
    void error(QNetworkReply::NetworkError code);
    void redirected(const QUrl &url);
    // Emits the events received so far, then finished() and closed().
    void sse_finished();

private:
    class SignalGuard;

    void replyFinished();
    void release();
    void emitFinished();
    void fail(const char *reason);

    QNetworkAccessManager *m_manager = nullptr;
    QNetworkReply *m_reply = nullptr;
    EventStreamParser m_parser;
    bool m_silent = false;
    quint64 m_stream = 0; // counts streams: shows that a handler ended the present one
    int m_signalDepth = 0;
};
