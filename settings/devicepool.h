#pragma once

#include <QHash>
#include <QJsonObject>
#include <QJsonValue>
#include <QSet>
#include <QString>
#include <QVariant>
#include <QVector>

#include <functional>

class QJsonArray;
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

// The stored list of every device that was ever named or registered; no other class reads or
// writes it. Objects are values. Any thread.
//
// The stored text is ASCII JSON, as other readers take it for Latin-1. Members and entries that
// this version does not know are kept. Of several entries with one key the first is used.
class DevicePool
{
public:
    DevicePool() = default;

    // The stored text as JSON, read as Latin-1; empty, with a log line, when it is invalid.
    static QJsonObject storedJson(const SettingsStore &store);

    // The stored pool; stores the running version. An unreadable pool is read as empty, with a log
    // line, and the next write keeps its text under keys::UnreadablePool.
    static DevicePool read();
    // The pool of a text that is not stored here; empty when it is invalid.
    static DevicePool parse(const QString &text);
    // Reads the pool, calls `change` and writes the pool. Other threads' calls wait meanwhile.
    static void update(const std::function<void(DevicePool &)> &change);

    // Calls `replace`, which stores another pool by itself and must not call update(), and returns
    // its result. Other threads' update() waits meanwhile.
    [[nodiscard]] static bool replaceStored(const std::function<bool()> &replace);

    // Changes with every write. Call it before read(): the result is out of date when the number
    // has changed.
    static int generation();

    int size() const { return m_devices.size(); }
    PoolEntry at(int index) const;
    // Index of the first entry of this key; -1 when there is none. Constant time.
    int indexOf(const QString &key) const;
    // Index of the entry with this type, version and serial, else of the first with this type and
    // version; -1 when there is none.
    int indexOfGateway(const QString &type, const QString &version, const QString &serial) const;

    // Replaces the first entry of the key in place, or appends.
    void put(const PoolEntry &entry);
    // "type_version_serial_regid" of every registered entry.
    QSet<QString> cloudids() const;
    // Splits `cloudid` at the last "_" that leaves the key of an entry other than a gateway's, and
    // stores the rest as that entry's registration id, and the alias unless it is empty. Does
    // nothing when there is no such entry.
    void applyRegistration(const QString &cloudid, const QString &alias);
    // Removes every entry with one of these keys.
    void remove(const QSet<QString> &keys);
    // Clears the registration id of every entry.
    void clearRegistrations();
    // Removes entries of a gateway that had no serial yet (serial "?").
    void dropGatewayPlaceholders();

    QJsonObject toJson() const;

private:
    static DevicePool load(SettingsStore &store);
    void save(SettingsStore &store);
    void setDevices(const QJsonArray &devices);
    void reindex();

    QJsonObject m_root;        // everything but "devices"
    QVariant m_unreadableText; // the stored value, when it has no list of devices
    QVector<QJsonValue> m_devices;
    QHash<QString, int> m_index;
};
