#include "registration/registrationdocument.h"

#include "things/qabstractthing.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>

#include <utility>

namespace {

// Indexed by RegistrationFailure.
constexpr std::pair<int, const char *> statuses[] = {
    {409, QT_TRANSLATE_NOOP("registrationdocument", "Busy with another request")},
    {400, QT_TRANSLATE_NOOP("registrationdocument", "No new devices to register")},
    {400, QT_TRANSLATE_NOOP("registrationdocument",
                            "Cannot establish a connection to the registrar service")},
    {498, QT_TRANSLATE_NOOP("registrationdocument", "Reply processing error")},
    {500, QT_TRANSLATE_NOOP("registrationdocument",
                            "Connection to the registrar service was closed unexpectedly.")},
};

} // namespace

QJsonObject registrationDocument(const QAbstractThing &gateway,
                                 const QList<QAbstractThing *> &things)
{
    QJsonArray siblings;
    for (const QAbstractThing *thing : things) {
        if (thing->regid().isEmpty()) {
            siblings.append(QJsonArray{thing->shortid(), thing->alias()});
        }
    }
    QJsonObject document;
    if (gateway.regid().isEmpty()) {
        // The cloud assigns the serial; "?" stands for it.
        document["gw"] = QString(gateway.type() + '_' + gateway.version() + "_?");
        document["alias"] = gateway.alias();
    } else if (!siblings.isEmpty()) {
        document["app"] = gateway.cloudid();
    }
    if (!siblings.isEmpty()) {
        document["sib"] = siblings;
    }
    return document;
}

QString encodeRegistrationDocument(const QJsonObject &document)
{
    constexpr int lengthPrefix = 4; // bytes that qCompress() puts before the zlib stream
    const QByteArray json = QJsonDocument(document).toJson(QJsonDocument::Compact);
    return QString::fromLatin1(
        qCompress(json)
            .mid(lengthPrefix)
            .toBase64(QByteArray::Base64UrlEncoding | QByteArray::KeepTrailingEquals));
}

QJsonObject registrationStatus(RegistrationFailure failure)
{
    const auto &[code, error] = statuses[static_cast<int>(failure)];
    return {{"code", code}, {"error", QCoreApplication::translate("registrationdocument", error)}};
}
