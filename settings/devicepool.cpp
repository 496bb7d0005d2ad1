#include "settings/devicepool.h"

#include "settings/log.h"
#include "settings/settingsstore.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <mutex>

namespace {

const QLatin1String devicesMember("devices");
const QLatin1String updatedMember("updated");
const QLatin1String typeMember("type");
const QLatin1String versionMember("version");
const QLatin1String serialMember("serial");
const QLatin1String regidMember("regid");
const QLatin1String aliasMember("alias");

PoolEntry entryOf(const QJsonObject &device)
{
    PoolEntry entry;
    entry.type = device[typeMember].toString();
    entry.version = device[versionMember].toString();
    entry.serial = device[serialMember].toString();
    entry.regid = device[regidMember].toString();
    entry.alias = device[aliasMember].toString();
    return entry;
}

// Compact JSON with every character beyond ASCII escaped, which strings alone contain.
QString asciiJson(const QJsonObject &object)
{
    const QString text = QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
    QString ascii;
    ascii.reserve(text.size());
    for (const QChar c : text) {
        if (c.unicode() < 0x7f) {
            ascii += c;
        } else {
            ascii += QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
        }
    }
    return ascii;
}

std::mutex writeLock;
std::atomic<int> storedGeneration{0};

} // namespace

QString PoolEntry::key() const
{
    return type + QLatin1Char('_') + version + QLatin1Char('_') + serial;
}

QJsonObject DevicePool::storedJson(const SettingsStore &store)
{
    const QString text = store.value(keys::DevicePool);
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text.toLatin1(), &error);
    if (error.error != QJsonParseError::NoError && !text.isEmpty()) {
        qCWarning(lcSettings) << "The device pool is not valid JSON, treating it as empty:"
                              << error.errorString();
    }
    return document.object();
}

DevicePool DevicePool::load(SettingsStore &store)
{
    DevicePool pool;
    pool.m_root = storedJson(store);
    const QVariant text = store.rawValue(keys::DevicePool);
    const QJsonValue list = pool.m_root.take(devicesMember);
    if (!list.isArray() && text.isValid() && text != QVariant(QString()) &&
        text != QVariant(QLatin1String(keys::DevicePool.fallback))) {
        qCWarning(lcSettings,
                  "The device pool has no list of devices; the next write keeps a copy of it");
        pool.m_unreadableText = text;
    }
    pool.setDevices(list.toArray());
    return pool;
}

DevicePool DevicePool::parse(const QString &text)
{
    DevicePool pool;
    pool.m_root = QJsonDocument::fromJson(text.toLatin1()).object();
    pool.setDevices(pool.m_root.take(devicesMember).toArray());
    return pool;
}

void DevicePool::setDevices(const QJsonArray &devices)
{
    m_devices = QVector<QJsonValue>(devices.begin(), devices.end());
    reindex();
}

DevicePool DevicePool::read()
{
    SettingsStore store;
    store.markVersion();
    return load(store);
}

void DevicePool::update(const std::function<void(DevicePool &)> &change)
{
    const std::lock_guard<std::mutex> lock(writeLock);
    SettingsStore store;
    store.markVersion();
    DevicePool pool = load(store);
    change(pool);
    pool.save(store);
    ++storedGeneration;
}

bool DevicePool::replaceStored(const std::function<bool()> &replace)
{
    const std::lock_guard<std::mutex> lock(writeLock);
    const bool replaced = replace();
    ++storedGeneration; // after the change, as callers of read() call generation() first
    return replaced;
}

int DevicePool::generation()
{
    return storedGeneration;
}

void DevicePool::save(SettingsStore &store)
{
    if (m_unreadableText.isValid()) {
        store.setVariant(keys::UnreadablePool, m_unreadableText);
    }
    m_root[updatedMember] = QDateTime::currentDateTime().toString("yyyy.MM.dd hh:mm:ss");
    store.set(keys::DevicePool, asciiJson(toJson()));
}

void DevicePool::reindex()
{
    m_index.clear();
    m_index.reserve(m_devices.size());
    int invalid = 0;
    for (int i = 0; i < m_devices.size(); ++i) {
        if (!m_devices.at(i).isObject()) {
            ++invalid;
            continue;
        }
        const QString key = entryOf(m_devices.at(i).toObject()).key();
        if (!m_index.contains(key)) {
            m_index.insert(key, i);
        }
    }
    if (invalid > 0) {
        qCWarning(lcSettings, "Ignored and kept %d entries of the device pool that are no objects",
                  invalid);
    }
}

PoolEntry DevicePool::at(int index) const
{
    return entryOf(m_devices.at(index).toObject());
}

int DevicePool::indexOf(const QString &key) const
{
    return m_index.value(key, -1);
}

int DevicePool::indexOfGateway(const QString &type, const QString &version,
                               const QString &serial) const
{
    const int own = indexOf(PoolEntry{type, version, serial}.key());
    if (own >= 0) {
        return own;
    }
    for (int i = 0; i < m_devices.size(); ++i) {
        const QJsonObject device = m_devices.at(i).toObject();
        if (device[typeMember].toString() == type && device[versionMember].toString() == version) {
            return i;
        }
    }
    return -1;
}

void DevicePool::put(const PoolEntry &entry)
{
    const int index = indexOf(entry.key());
    QJsonObject device = index < 0 ? QJsonObject() : m_devices.at(index).toObject();
    device[typeMember] = entry.type;
    device[versionMember] = entry.version;
    device[serialMember] = entry.serial;
    device[regidMember] = entry.regid;
    device[aliasMember] = entry.alias;
    if (index < 0) {
        m_index.insert(entry.key(), m_devices.size());
        m_devices.append(device);
    } else {
        m_devices[index] = device;
    }
}

QSet<QString> DevicePool::cloudids() const
{
    QSet<QString> ids;
    for (int i = 0; i < size(); ++i) {
        const PoolEntry entry = at(i);
        if (!entry.regid.isEmpty()) {
            ids.insert(entry.key() + QLatin1Char('_') + entry.regid);
        }
    }
    return ids;
}

void DevicePool::applyRegistration(const QString &cloudid, const QString &alias)
{
    if (indexOf(cloudid) >= 0) {
        return; // a short id: it contains no registration id
    }
    const QLatin1Char separator('_');
    for (int end = cloudid.lastIndexOf(separator); end > 0;
         end = cloudid.lastIndexOf(separator, end - 1)) {
        const int index = indexOf(cloudid.left(end));
        if (index >= 0 && at(index).type != QLatin1String("gateway")) {
            PoolEntry entry = at(index);
            entry.regid = cloudid.mid(end + 1);
            entry.alias = alias.isEmpty() ? entry.alias : alias;
            put(entry);
            return;
        }
    }
}

void DevicePool::remove(const QSet<QString> &keys)
{
    const auto isRemoved = [&keys](const QJsonValue &device) {
        return device.isObject() && keys.contains(entryOf(device.toObject()).key());
    };
    m_devices.erase(std::remove_if(m_devices.begin(), m_devices.end(), isRemoved), m_devices.end());
    reindex();
}

void DevicePool::clearRegistrations()
{
    for (QJsonValue &value : m_devices) {
        if (value.isObject()) {
            QJsonObject device = value.toObject();
            device[regidMember] = QString();
            value = device;
        }
    }
}

void DevicePool::dropGatewayPlaceholders()
{
    const auto isPlaceholder = [](const QJsonValue &value) {
        const QJsonObject device = value.toObject();
        return device[typeMember].toString() == QLatin1String("gateway") &&
               device[serialMember].toString() == QLatin1String("?");
    };
    const auto kept = std::remove_if(m_devices.begin(), m_devices.end(), isPlaceholder);
    if (kept != m_devices.end()) {
        m_devices.erase(kept, m_devices.end());
        reindex();
    }
}

QJsonObject DevicePool::toJson() const
{
    QJsonArray devices;
    std::copy(m_devices.cbegin(), m_devices.cend(), std::back_inserter(devices));
    QJsonObject root = m_root;
    root[devicesMember] = devices;
    return root;
}
