// The part of the runner that registers the gateway and its things with the cloud.

#include "registration/qssemanager.h"
#include "registration/registrationdocument.h"
#include "runner/log.h"
#include "runner/zugatewrunner.h"
#include "settings/settingsstore.h"
#include "things/gatewaything.h"

#include <QJsonDocument>
#include <QStringList>

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
    if (m_registering) {
        emit finished(ProcReg, registrationStatus(RegistrationFailure::Busy));
        return;
    }
    const QJsonObject document = registrationDocument(*m_gateway, m_things);
    if (document.isEmpty()) {
        emit finished(ProcReg, registrationStatus(RegistrationFailure::NothingToRegister));
        return;
    }
    m_registering = true;
    const QString endpoint = SettingsStore().value(keys::RegistrarEndpoint);
    if (!m_registrar->open(endpoint, {{"doc", encodeRegistrationDocument(document)}})) {
        m_registering = false;
        emit finished(ProcReg, registrationStatus(RegistrationFailure::NoConnection));
    }
}

void ZugatewRunner::reg_closed()
{
    const bool awaited = m_registering;
    m_registering = false;
    if (awaited) {
        emit finished(ProcReg, registrationStatus(RegistrationFailure::StreamEnded));
    }
}

void ZugatewRunner::reg_dataRead(const QString &evt, const QString &msg, const QString & /*id*/)
{
    if (evt == QLatin1String("error")) {
        m_registering = false;
        emit finished(ProcReg, QJsonDocument::fromJson(msg.toUtf8()).object());
        m_registrar->close();
    } else if (evt == QLatin1String("code")) {
        emit finished(RegCode, QJsonDocument::fromJson(msg.toUtf8()).object());
    } else if (evt == QLatin1String("result")) {
        if (!m_registering) {
            qCWarning(lcRunner, "The registrar sent a result that nobody waits for: ignored");
            return;
        }
        m_registering = false;
        // Not at once: the stream is still delivering this event.
        QMetaObject::invokeMethod(m_registrar, &QSSEManager::close, Qt::QueuedConnection);
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
        emit finished(ProcReg, result);
        return;
    }
    if (!m_gateway->applyRegistration(result, m_things)) {
        emit finished(ProcReg, registrationStatus(RegistrationFailure::BadReply));
        return;
    }
    result.remove(QLatin1String("cred")); // the credentials stay on this side
    emit finished(ProcReg, result);

    const QList<QAbstractThing *> all = allThings();
    writePool(all);
    for (const QAbstractThing *const thing : all) {
        if (thing == m_gateway || (m_origins.contains(thing) && !thing->regid().isEmpty())) {
            emit thingChanged(ThingState(thing, true));
        }
    }
    // Connecting runs a local event loop while it ends an earlier connection; that must not
    // happen inside of the stream's signal.
    QMetaObject::invokeMethod(
        this, [this] { startCloud(false); }, Qt::QueuedConnection);
}
