#pragma once

#include <QJsonObject>
#include <QObject>
#include <QTimer>

class QSSEManager;
enum class RegistrationFailure;

// One registration after the other with the registrar: the document goes out, a code and a result
// come back. Lives on its owner's thread, where every call is made and every signal emitted.
//
// A session that began ends with exactly one resultReceived() or failed(), or silently by cancel()
// or by a result that is no object. fail() is the owner's: it emits failed() besides.
class RegistrationSession : public QObject
{
    Q_OBJECT

public:
    // `stream` is borrowed; the owner connects its signals to handleEvent() and handleStreamEnd().
    explicit RegistrationSession(QSSEManager &stream, QObject *parent = nullptr);

    // From begin() until the session ended.
    bool isActive() const { return m_state != State::Idle; }
    // Sends the registration document to the registrar's `endpoint`.
    void begin(const QString &endpoint, const QJsonObject &document);
    // False when no session was under way.
    bool cancel();
    // Logs the failure and emits failed(); the state stays.
    void fail(RegistrationFailure failure);

    void handleEvent(const QString &type, const QString &data);
    void handleStreamEnd();

signals:
    // The registrar's "code" object.
    void codeReceived(const QJsonObject &code);
    // A status with "code" and "error", the gateway's own or the registrar's.
    void failed(const QJsonObject &status);
    // The registrar's result, which holds credentials.
    void resultReceived(const QJsonObject &result);

private:
    enum class State { Idle, AwaitingCode, AwaitingResult };

    void end();
    void handleCode(const QJsonObject &code);
    void handleResult(const QString &data);
    void failAsRefused(const QJsonObject &status);
    void timeOut();

    QSSEManager &m_stream;
    State m_state = State::Idle;
    QTimer m_deadline;
};
