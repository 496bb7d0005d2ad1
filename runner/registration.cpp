// The part of the runner that registers the gateway and its things with the cloud.

#include "registration/qssemanager.h"
#include "registration/registrationdocument.h"
#include "runner/log.h"
#include "runner/zugatewrunner.h"
#include "settings/settingsstore.h"
#include "things/gatewaything.h"

#include <QJsonDocument>
#include <QStringList>
#include <QTimer>

#include <chrono>
#include <utility>

using namespace std::chrono_literals;

namespace {

// What a registrar has for its first answer, and what it has beyond the life of a code to tell
// that it expired. A connection that died in silence ends here.
constexpr std::chrono::milliseconds codeWait = 120s;
constexpr double longestCode = 7 * 24 * 3600; // seconds

// The object of an event; empty, with a log line, when there is none.
QJsonObject parsed(const QString &msg)
{
    const QJsonDocument document = QJsonDocument::fromJson(msg.toUtf8());
    if (!document.isObject()) {
        qCWarning(lcRunner, "The registrar sent an event without an object");
    }
    return document.object();
}

} // namespace

void ZugatewRunner::generateDoc()
{
    QStringList unnamed;
    const QList<QAbstractThing *> all = allThings();
    for (const QAbstractThing *const thing : all) {
        if (thing->alias().isEmpty()) {
            unnamed.append(thing->shortid());
        }
    }
    if (!unnamed.isEmpty()) {
        emit finished(AliasFill, unnamed);
        return;
    }
    if (m_registering || m_voiding || m_leaving) { // an id that is being voided must not be sent
        failRegistration(RegistrationFailure::Busy);
        return;
    }
    const QJsonObject document = registrationDocument(*m_gateway, m_things);
    if (document.isEmpty()) {
        failRegistration(RegistrationFailure::NothingToRegister);
        return;
    }
    m_registering = true;
    const QString endpoint = SettingsStore().value(keys::RegistrarEndpoint);
    if (!m_registrar->open(endpoint, {{"doc", encodeRegistrationDocument(document)}})) {
        m_registering = false;
        failRegistration(RegistrationFailure::NoConnection);
        return;
    }
    qCInfo(lcRunner, "Registration begins");
    m_registrationDeadline->start(codeWait);
}

void ZugatewRunner::failRegistration(RegistrationFailure failure)
{
    const QJsonObject status = registrationStatus(failure);
    qCWarning(lcRunner).noquote() << "Registration failed:" << status["error"].toString();
    emit finished(ProcReg, status);
}

// What the registrar says may hold anything; its code tells enough.
void ZugatewRunner::refuseRegistration(const QJsonObject &status)
{
    qCWarning(lcRunner) << "The registrar refused the registration, code" << status["code"].toInt();
    emit finished(ProcReg, status);
}

void ZugatewRunner::cancelRegistration()
{
    if (endRegistrationSession()) {
        qCInfo(lcRunner, "Registration cancelled");
        m_registrar->close();
    }
}

// Whether one was under way.
bool ZugatewRunner::endRegistrationSession()
{
    m_registrationDeadline->stop();
    return std::exchange(m_registering, false);
}

void ZugatewRunner::voidRegistrationSession()
{
    if (m_registering) {
        cancelRegistration();
        emit registrationVoided();
    }
}

void ZugatewRunner::reg_closed()
{
    if (endRegistrationSession()) {
        failRegistration(RegistrationFailure::StreamEnded);
    }
}

void ZugatewRunner::registrationTimedOut()
{
    qCWarning(lcRunner, "The registrar did not answer before the deadline");
    m_registrar->close();
    reg_closed();
}

void ZugatewRunner::reg_dataRead(const QString &evt, const QString &msg, const QString & /*id*/)
{
    if (!m_registering) {
        qCWarning(lcRunner) << "Ignored unexpected event of the registrar" << evt.left(20);
        return;
    }
    if (evt == QLatin1String("error")) {
        endRegistrationSession();
        refuseRegistration(parsed(msg));
        m_registrar->close();
    } else if (evt == QLatin1String("code")) {
        const QJsonObject code = parsed(msg);
        bool isKnown = false;
        const double valid = code["timeout"].toVariant().toDouble(&isKnown); // seconds
        if (isKnown && valid >= 0) {
            const std::chrono::seconds left(static_cast<int>(qMin(valid, longestCode)));
            m_registrationDeadline->start(left + codeWait);
        } else {
            m_registrationDeadline->stop(); // the stream's end tells
        }
        emit finished(RegCode, code);
    } else if (evt == QLatin1String("result")) {
        endRegistrationSession();
        m_registrar->closeLater(); // the stream is still delivering this event
        processResult(msg);
    }
}

void ZugatewRunner::processResult(const QString &msg)
{
    const QJsonDocument document = QJsonDocument::fromJson(msg.toUtf8());
    if (!document.isObject()) {
        qCWarning(lcRunner, "The registrar's result is no object");
        return;
    }
    QJsonObject result = document.object();
    if (result.contains(QLatin1String("error"))) {
        refuseRegistration(result);
        return;
    }
    const QList<QAbstractThing *> things = m_things;
    if (!m_gateway->applyRegistration(result, things)) {
        failRegistration(RegistrationFailure::BadReply);
        return;
    }
    qCInfo(lcRunner, "Registered");
    result.remove(QLatin1String("cred")); // the credentials stay on this side
    emit finished(ProcReg, result);

    const QList<QAbstractThing *> all = allThings();
    writePool(all, result);
    for (const QAbstractThing *const thing : all) {
        if (isLive(thing) && (thing == m_gateway || !thing->regid().isEmpty())) {
            announce(thing);
        }
    }
    // Connecting runs a local event loop while it ends an earlier connection; that must not
    // happen inside of the stream's signal.
    QMetaObject::invokeMethod(
        this, [this] { startCloud(true); }, Qt::QueuedConnection);
}
