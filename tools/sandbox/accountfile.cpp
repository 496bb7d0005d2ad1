#include "tools/sandbox/accountfile.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace {

constexpr qint64 maxSize = 256 << 20;

QJsonObject entry(const QString &id, const QString &alias)
{
    return {{"id", id}, {"alias", alias}};
}

} // namespace

bool AccountFile::read(AccountBook &book, QString &error) const
{
    book = {};
    QFile file(m_path);
    if (!file.exists()) {
        return true;
    }
    if (!file.open(QIODevice::ReadOnly) || file.size() > maxSize) {
        error = QStringLiteral("Cannot read %1: %2").arg(m_path, file.errorString());
        return false;
    }
    const QJsonDocument json = QJsonDocument::fromJson(file.readAll());
    const int port = json.object().value("brokerPort").toInt(-1);
    if (!json.isObject() || port < 0 || port > 65535 ||
        !json.object().value("gateways").isArray()) {
        error = QStringLiteral("%1 is damaged; move it away to start anew").arg(m_path);
        return false;
    }
    book.brokerPort = static_cast<quint16>(port);
    const QJsonArray gateways = json.object().value("gateways").toArray();
    for (const QJsonValue &item : gateways) {
        RegisteredGateway gateway{item["id"].toString(), item["alias"].toString(), {}};
        const QJsonArray things = item["things"].toArray();
        for (const QJsonValue &thing : things) {
            gateway.things.append({thing["id"].toString(), thing["alias"].toString()});
        }
        book.gateways.append(gateway);
    }
    return true;
}

bool AccountFile::write(const AccountBook &book, QString &error) const
{
    QJsonArray gateways;
    for (const RegisteredGateway &gateway : book.gateways) {
        QJsonArray things;
        for (const RegisteredThing &thing : gateway.things) {
            things.append(entry(thing.id, thing.alias));
        }
        QJsonObject item = entry(gateway.id, gateway.alias);
        item.insert("things", things);
        gateways.append(item);
    }
    const QJsonObject root{{"brokerPort", book.brokerPort}, {"gateways", gateways}};
    QSaveFile file(m_path);
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(QJsonDocument(root).toJson(QJsonDocument::Indented)) < 0 || !file.flush() ||
        !file.commit()) {
        error = QStringLiteral("Cannot write %1: %2").arg(m_path, file.errorString());
        return false;
    }
    return true;
}
