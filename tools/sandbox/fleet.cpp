#include "tools/sandbox/fleet.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRandomGenerator>
#include <QSet>

#include <algorithm>

namespace {

// Contains no "_", which separates the parts of an id.
QString token()
{
    return QStringLiteral("%1").arg(QRandomGenerator::system()->generate(), 8, 16, QChar('0'));
}

QString shortPart(const QString &cloudid)
{
    return cloudid.left(cloudid.lastIndexOf('_'));
}

} // namespace

Fleet::Fleet(const AccountFile &file)
    : m_file(file)
{
}

bool Fleet::load(QString &error)
{
    const std::lock_guard lock(m_mutex);
    AccountBook book;
    if (!m_file.read(book, error)) {
        return false;
    }
    m_book = book;
    for (const RegisteredGateway &gateway : qAsConst(m_book.gateways)) {
        insertLive(gateway);
    }
    return true;
}

void Fleet::insertLive(const RegisteredGateway &gateway)
{
    m_live.insert(gateway.id, {gateway.id, gateway.alias});
    for (const RegisteredThing &thing : gateway.things) {
        m_live.insert(thing.id, {gateway.id, thing.alias});
    }
}

bool Fleet::isEmpty() const
{
    const std::lock_guard lock(m_mutex);
    return m_book.gateways.isEmpty();
}

quint16 Fleet::brokerPort() const
{
    const std::lock_guard lock(m_mutex);
    return m_book.brokerPort;
}

// Writes to disk first: on failure, the book in memory stays unchanged too.
bool Fleet::store(AccountBook book, QString &error)
{
    if (!m_file.write(book, error)) {
        return false;
    }
    m_book = std::move(book);
    return true;
}

bool Fleet::setBrokerPort(quint16 port, QString &error)
{
    const std::lock_guard lock(m_mutex);
    AccountBook book = m_book;
    book.brokerPort = port;
    return store(std::move(book), error);
}

QString Fleet::newGatewayId(const QString &type, const QString &version) const
{
    const std::lock_guard lock(m_mutex);
    QString id;
    do {
        id = QStringList{type, version, token(), token()}.join('_');
    } while (m_live.contains(id));
    return id;
}

QList<RegisteredThing> Fleet::newThings(const QList<RegistrationDocument::Sibling> &siblings)
{
    QList<RegisteredThing> things;
    things.reserve(siblings.size());
    for (const RegistrationDocument::Sibling &sibling : siblings) {
        things.append({sibling.shortid + '_' + token(), sibling.alias});
    }
    return things;
}

bool Fleet::addGateway(const RegisteredGateway &gateway, QString &error)
{
    const std::lock_guard lock(m_mutex);
    AccountBook book = m_book;
    book.gateways.append(gateway);
    if (!store(std::move(book), error)) {
        return false;
    }
    insertLive(gateway);
    return true;
}

bool Fleet::addThings(const QString &gatewayId, const QList<RegisteredThing> &things,
                      QString &error)
{
    const std::lock_guard lock(m_mutex);
    AccountBook book = m_book;
    const auto gateway = std::find_if(book.gateways.begin(), book.gateways.end(),
                                      [&](const auto &known) { return known.id == gatewayId; });
    if (gateway == book.gateways.end()) {
        error = QStringLiteral("The gateway is not registered");
        return false;
    }
    QSet<QString> shortids;
    for (const RegisteredThing &thing : things) {
        shortids.insert(shortPart(thing.id));
    }
    QStringList replaced;
    QList<RegisteredThing> kept;
    for (const RegisteredThing &known : qAsConst(gateway->things)) {
        if (shortids.contains(shortPart(known.id))) {
            replaced << known.id;
        } else {
            kept << known;
        }
    }
    gateway->things = kept + things;
    if (!store(std::move(book), error)) {
        return false;
    }
    for (const QString &id : qAsConst(replaced)) {
        m_live.remove(id);
    }
    for (const RegisteredThing &thing : things) {
        m_live.insert(thing.id, {gatewayId, thing.alias});
    }
    return true;
}

std::optional<Fleet::Entry> Fleet::find(const QString &id) const
{
    const std::lock_guard lock(m_mutex);
    const auto it = m_live.constFind(id);
    if (it == m_live.constEnd()) {
        return std::nullopt;
    }
    return Entry{it->gateway == id, m_live.value(it->gateway).connected, it->alias};
}

std::optional<QJsonObject> Fleet::recordState(const QString &id, const QJsonObject &state)
{
    const std::lock_guard lock(m_mutex);
    const auto it = m_live.find(id);
    if (it == m_live.end()) {
        return std::nullopt;
    }
    it->state = state;
    it->at = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
    ++it->count;
    return describe(id, *it);
}

bool Fleet::setConnected(const QString &gatewayId, bool on)
{
    const std::lock_guard lock(m_mutex);
    const auto it = m_live.find(gatewayId);
    if (it == m_live.end() || it->gateway != gatewayId || it->connected == on) {
        return false;
    }
    it->connected = on;
    return true;
}

void Fleet::disconnectAll()
{
    const std::lock_guard lock(m_mutex);
    for (Live &live : m_live) {
        live.connected = false;
    }
}

QJsonObject Fleet::describe(const QString &id, const Live &live)
{
    const bool seen = !live.at.isEmpty();
    return {{"id", id},
            {"alias", live.alias},
            {"gateway", live.gateway},
            {"state", seen ? QJsonValue(live.state) : QJsonValue()},
            {"at", seen ? QJsonValue(live.at) : QJsonValue()},
            {"count", static_cast<qint64>(live.count)}};
}

QByteArray Fleet::snapshot() const
{
    const std::lock_guard lock(m_mutex);
    QJsonArray gateways;
    for (const RegisteredGateway &gateway : m_book.gateways) {
        QJsonArray things;
        for (const RegisteredThing &thing : gateway.things) {
            things.append(describe(thing.id, m_live.value(thing.id)));
        }
        const Live live = m_live.value(gateway.id);
        QJsonObject item = describe(gateway.id, live);
        item.insert("connected", live.connected);
        item.insert("things", things);
        gateways.append(item);
    }
    return QJsonDocument(QJsonObject{{"gateways", gateways}}).toJson(QJsonDocument::Compact);
}
