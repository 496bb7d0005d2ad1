#include "settings/devicepool.h"

#include "settings/log.h"
#include "settings/settingsstore.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QMutex>

#include <algorithm>
#include <atomic>

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

// Compact JSON with every character beyond ASCII escaped: they occur inside of texts only.
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

QMutex &writers()
{
    static QMutex mutex;
    return mutex;
}

std::atomic<int> &generations()
{
    static std::atomic<int> count{0};
    return count;
}

} // namespace

QString PoolEntry::key() const
{
    return type + QLatin1Char('_') + version + QLatin1Char('_') + serial;
}

QJsonObject DevicePool::stored(const SettingsStore &store)
{
    const QString text = store.value(keys::DevicePool);
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text.toLatin1(), &error);
    if (error.error != QJsonParseError::NoError && !text.isEmpty()) {
        qCWarning(lcSettings) << "The device pool cannot be read and counts as empty:"
                              << error.errorString();
    }
    return document.object();
}

DevicePool DevicePool::load(SettingsStore &store)
{
    DevicePool pool;
    pool.m_root = stored(store);
    const QVariant text = store.rawValue(keys::DevicePool);
    const QJsonValue list = pool.m_root.take(devicesMember);
    if (!list.isArray() && text.isValid() && text != QVariant(QString()) &&
        text != QVariant(QLatin1String(keys::DevicePool.fallback))) {
        qCWarning(lcSettings, "The device pool holds no list of devices; it is kept aside");
        pool.m_unreadable = text;
    }
    const QJsonArray devices = list.toArray();
    pool.m_devices.reserve(devices.size());
    for (const QJsonValue &device : devices) {
        pool.m_devices.append(device);
    }
    pool.reindex();
    return pool;
}

DevicePool DevicePool::read()
{
    SettingsStore store;
    store.markVersion();
    return load(store);
}

void DevicePool::update(const std::function<void(DevicePool &)> &change)
{
    const QMutexLocker lock(&writers());
    SettingsStore store;
    store.markVersion();
    DevicePool pool = load(store);
    change(pool);
    pool.save(store);
    ++generations();
}

bool DevicePool::replaceStored(const std::function<bool()> &replace)
{
    const QMutexLocker lock(&writers());
    const bool replaced = replace();
    ++generations(); // afterwards: whoever reads the number before the pool is never out of date
    return replaced;
}

int DevicePool::generation()
{
    return generations();
}

void DevicePool::save(SettingsStore &store)
{
    if (m_unreadable.isValid()) {
        store.setVariant(keys::UnreadablePool, m_unreadable);
    }
    m_root[updatedMember] = QDateTime::currentDateTime().toString("yyyy.MM.dd hh:mm:ss");
    store.set(keys::DevicePool, asciiJson(toJson()));
}

void DevicePool::reindex()
{
    m_index.clear();
    m_index.reserve(m_devices.size());
    int foreign = 0;
    for (int i = 0; i < m_devices.size(); ++i) {
        if (!m_devices.at(i).isObject()) {
            ++foreign;
            continue;
        }
        const QString key = entryOf(m_devices.at(i).toObject()).key();
        if (!m_index.contains(key)) {
            m_index.insert(key, i);
        }
    }
    if (foreign > 0) {
        qCWarning(lcSettings, "%d entries of the device pool are no objects; they are kept unread",
                  foreign);
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
        return; // a short id, which gives no registration id
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

bool DevicePool::remove(const QSet<QString> &keys)
{
    const int before = m_devices.size();
    const auto gone = [&keys](const QJsonValue &device) {
        return device.isObject() && keys.contains(entryOf(device.toObject()).key());
    };
    m_devices.erase(std::remove_if(m_devices.begin(), m_devices.end(), gone), m_devices.end());
    reindex();
    return m_devices.size() != before;
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
    const auto placeholder = [](const QJsonValue &value) {
        const QJsonObject device = value.toObject();
        return device[typeMember].toString() == QLatin1String("gateway") &&
               device[serialMember].toString() == QLatin1String("?");
    };
    const auto kept = std::remove_if(m_devices.begin(), m_devices.end(), placeholder);
    if (kept != m_devices.end()) {
        m_devices.erase(kept, m_devices.end());
        reindex();
    }
}

QJsonObject DevicePool::toJson() const
{
    QJsonArray devices;
    for (const QJsonValue &device : m_devices) {
        devices.append(device);
    }
    QJsonObject root = m_root;
    root[devicesMember] = devices;
    return root;
}
