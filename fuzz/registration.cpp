// The registrar's events, and updates of the cloud. Lines: "code", "result", "error" or "update"
// and its JSON.
#include "cloud/topics.h"
#include "fuzz/fuzz.h"
#include "registration/qssemanager.h"
#include "registration/registrationdocument.h"
#include "registration/registrationsession.h"
#include "settings/settingsstore.h"
#include "things/gatewaything.h"

#include <QJsonDocument>

namespace {

class Lamp : public QAbstractThing
{
public:
    QString type() const override { return QStringLiteral("lamp"); }
    QString version() const override { return QStringLiteral("1"); }
    int kind() const override { return 1; }
    QString serial() const override { return QStringLiteral("0001"); }
    QJsonObject state() const override { return m_state; }
    bool applyUpdate(const QJsonObject &update) override
    {
        m_state = update;
        return true;
    }

private:
    QJsonObject m_state;
};

} // namespace

void fuzz(const QByteArray &bytes)
{
    SettingsStore().clear();
    GatewayThing gateway;
    Lamp lamp;
    QSSEManager stream;
    RegistrationSession session(stream);
    int ends = 0; // of the present session
    QObject::connect(&session, &RegistrationSession::failed, [&] { ++ends; });
    QObject::connect(
        &session, &RegistrationSession::resultReceived, [&](const QJsonObject &result) {
            ++ends;
            const bool isApplied = gateway.applyRegistration(result, {&lamp});
            require(gateway.regid().isEmpty() || topics::isValidId(gateway.cloudid()));
            require(lamp.regid().isEmpty() || gateway.hasSibling(lamp.cloudid()) || !isApplied);
        });
    const QByteArrayList lines = bytes.split('\n');
    for (const QByteArray &line : lines) {
        const int end = qMax(0, line.indexOf(' '));
        const QByteArray json = line.mid(end + 1);
        if (line.startsWith("update")) {
            gateway.mqtt_messageReceived(lamp.cloudid(), json);
            continue;
        }
        if (!session.isActive()) {
            stream.close();
            session.begin(QStringLiteral("http://127.0.0.1:9/"), {});
            ends = 0;
        }
        session.handleEvent(QString::fromUtf8(line.left(end)), QString::fromUtf8(json));
        require(ends <= 1 && (ends == 0 || !session.isActive()));
    }
    const QJsonObject document = registrationDocument(gateway, {&lamp});
    const QByteArray packed = QByteArray::fromBase64(
        encodeRegistrationDocument(document).toLatin1(), QByteArray::Base64UrlEncoding);
    const QByteArray json = qUncompress(QByteArray(2, 0) + "\xff\xff" + packed);
    require(QJsonDocument::fromJson(json).object() == document);
}
