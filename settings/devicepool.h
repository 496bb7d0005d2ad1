#pragma once

#include <QHash>
#include <QJsonObject>
#include <QJsonValue>
#include <QSet>
#include <QString>
#include <QVariant>
#include <QVector>

#include <functional>

class SettingsStore;

// One known device as the pool keeps it.
struct PoolEntry
{
    QString type;
    QString version;
    QString serial;
    QString regid = {}; // empty: not registered
    QString alias = {}; // may be empty

    // "type_version_serial", which equals the thing's short id.
    QString key() const;
};

// The persistent record of every device that was ever named or registered, and the only way to
// it. Objects are values: read, change, write. Any thread.
//
// The stored text is ASCII JSON, so that readers of eight-bit text lose nothing. Members and
// entries that this version does not know are kept as they are. Of several entries of one key
// the first counts.
class DevicePool
{
public:
    DevicePool() = default;

    // The stored text as JSON, read as Latin-1; empty, with a log line, when it is none.
    static QJsonObject stored(const SettingsStore &store);

    // The stored pool; marks the version of the settings' layout. One that cannot be read counts as
    // empty, with a log line; its text is kept aside when the next write replaces it.
    static DevicePool read();
    // Reads, lets `change` work on the pool and writes it, all in one step as far as other
    // threads of this program are concerned.
    static void update(const std::function<void(DevicePool &)> &change);

    // Lets `replace` put another pool into the store by itself, while every update() waits; no
    // update() may be called from inside. Returns what `replace` returns.
    static bool replaceStored(const std::function<bool()> &replace);

    // Changes whenever this program has written the pool. Who asks for it before reading the pool
    // sees by it whether what was read is out of date.
    static int generation();

    int size() const { return m_devices.size(); }
    PoolEntry at(int index) const;
    // Index of the first entry of this key; -1 when there is none. Constant time.
    int indexOf(const QString &key) const;
    // The entry that names a gateway of this type and version: the one with this serial if there
    // is one, else the first; -1 when there is none.
    int indexOfGateway(const QString &type, const QString &version, const QString &serial) const;

    // Replaces the first entry of the key in place, or appends.
    void put(const PoolEntry &entry);
    // "type_version_serial_regid" of every registered entry.
    QSet<QString> cloudids() const;
    // Gives the device's entry whose key is `cloudid` up to one of its "_" the rest as registration
    // id, and the alias unless it is empty. Nothing happens when there is no such entry.
    void applyRegistration(const QString &cloudid, const QString &alias);
    // Takes out every entry of these keys; false when there was none.
    bool remove(const QSet<QString> &keys);
    // Takes the registration id from every entry.
    void clearRegistrations();
    // Takes out what a gateway without a serial left behind.
    void dropGatewayPlaceholders();

    QJsonObject toJson() const;

private:
    static DevicePool load(SettingsStore &store);
    void save(SettingsStore &store);
    void reindex();

    QJsonObject m_root;    // everything but "devices"
    QVariant m_unreadable; // what is stored, when it holds no list of devices
    QVector<QJsonValue> m_devices;
    QHash<QString, int> m_index;
};
