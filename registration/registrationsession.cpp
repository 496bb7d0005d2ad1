#include "registration/registrationsession.h"

#include "registration/log.h"
#include "registration/qssemanager.h"
#include "registration/registrationdocument.h"

#include <QJsonDocument>

#include <chrono>

using namespace std::chrono_literals;

namespace {

// How long to wait for the first answer, and after a code's expiry. Also ends connections that
// broke unnoticed.
constexpr std::chrono::milliseconds answerTimeout = 120s;
constexpr double maxCodeSeconds = 7 * 24 * 3600;

// Empty, with a log line, when the text is no object.
QJsonObject parsedObject(const QString &text)
{
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8());
    if (!document.isObject()) {
        qCWarning(lcRegistration, "The registrar's event holds no JSON object");
    }
    return document.object();
}

} // namespace

RegistrationSession::RegistrationSession(QSSEManager &stream, QObject *parent)
    : QObject(parent)
    , m_stream(stream)
    , m_deadline(this)
{
    m_deadline.setSingleShot(true);
    connect(&m_deadline, &QTimer::timeout, this, &RegistrationSession::timeOut);
}

void RegistrationSession::begin(const QString &endpoint, const QJsonObject &document)
{
    if (!m_stream.open(endpoint, {{"doc", encodeRegistrationDocument(document)}})) {
        fail(RegistrationFailure::NoConnection);
        return;
    }
    qCInfo(lcRegistration, "Registration begins");
    m_state = State::AwaitingCode;
    m_deadline.start(answerTimeout);
}

void RegistrationSession::end()
{
    m_deadline.stop();
    m_state = State::Idle;
}

bool RegistrationSession::cancel()
{
    if (!isActive()) {
        return false;
    }
    end();
    qCInfo(lcRegistration, "Registration cancelled");
    m_stream.close();
    return true;
}

void RegistrationSession::fail(RegistrationFailure failure)
{
    const QJsonObject status = registrationStatus(failure);
    qCWarning(lcRegistration).noquote() << "Registration failed:" << status["error"].toString();
    emit failed(status);
}

// The registrar's text may hold anything, so only its code is logged.
void RegistrationSession::failAsRefused(const QJsonObject &status)
{
    qCWarning(lcRegistration) << "The registrar refused the registration, code"
                              << status["code"].toInt();
    emit failed(status);
}

void RegistrationSession::handleStreamEnd()
{
    if (isActive()) {
        end();
        fail(RegistrationFailure::StreamEnded);
    }
}

void RegistrationSession::timeOut()
{
    qCWarning(lcRegistration, "The registrar sent no %s before the deadline",
              m_state == State::AwaitingCode ? "code" : "result");
    m_stream.close();
    handleStreamEnd();
}

void RegistrationSession::handleEvent(const QString &type, const QString &data)
{
    if (!isActive()) {
        qCWarning(lcRegistration) << "Ignored unexpected event of the registrar" << type.left(20);
        return;
    }
    if (type == QLatin1String("error")) {
        end();
        failAsRefused(parsedObject(data));
        m_stream.close();
    } else if (type == QLatin1String("code")) {
        handleCode(parsedObject(data));
    } else if (type == QLatin1String("result")) {
        end();
        m_stream.closeLater(); // the stream is still delivering this event
        handleResult(data);
    }
}

void RegistrationSession::handleCode(const QJsonObject &code)
{
    m_state = State::AwaitingResult;
    bool isNumber = false;
    const double validSeconds = code["timeout"].toVariant().toDouble(&isNumber);
    if (isNumber && validSeconds >= 0) {
        const std::chrono::seconds left(static_cast<int>(qMin(validSeconds, maxCodeSeconds)));
        m_deadline.start(left + answerTimeout);
    } else {
        m_deadline.stop(); // only the end of the stream ends the session
    }
    emit codeReceived(code);
}

void RegistrationSession::handleResult(const QString &data)
{
    const QJsonDocument document = QJsonDocument::fromJson(data.toUtf8());
    if (!document.isObject()) {
        qCWarning(lcRegistration, "The registrar's result is no JSON object");
    } else if (document.object().contains(QLatin1String("error"))) {
        failAsRefused(document.object());
    } else {
        emit resultReceived(document.object());
    }
}
