#pragma once

#include "settings/keys.h"

#include <QSettings>
#include <QStringList>
#include <QVariant>

class QMutexLocker;

// A short-lived view of the per-user settings, created for each use: all objects see at once what
// one of them writes. Any thread; each object is for one thread.
//
// Reading a stored value that does not convert to the key's type returns the default, with a log
// line.
class SettingsStore
{
public:
    SettingsStore() = default;
    // Calls flush() after changes; a failure is noted in StorageFaults.
    ~SettingsStore();
    Q_DISABLE_COPY(SettingsStore)

    int value(const Key<int> &key) const;
    quint32 value(const Key<quint32> &key) const;
    bool value(const Key<bool> &key) const;
    QString value(const Key<QString> &key) const;
    QByteArray value(const Key<QByteArray> &key) const;

    template <typename T>
    void set(const Key<T> &key, const T &value)
    {
        write(QLatin1String(key.path), value);
    }
    // For keys whose values have more than one type, as the language has.
    template <typename T>
    void setVariant(const Key<T> &key, const QVariant &value)
    {
        write(QLatin1String(key.path), value);
    }
    template <typename T>
    bool contains(const Key<T> &key) const
    {
        return containsKey(QLatin1String(key.path));
    }
    // Writes the pending changes of all objects. False when this object failed to write, now or
    // earlier; the log tells the first failure and its end. Failed changes stay pending.
    [[nodiscard]] bool flush();
    // The file or registry key, to show to the user.
    QString location() const { return m_settings.fileName(); }
    // Stores the running version as the version of the settings.
    void markVersion();
    // Removes every key of this user.
    void clear();
    // Replaces every key of this user by `values`, in one step for the file and for the other
    // objects of this process. False, with the old values, when the store cannot be written. On
    // Windows an interrupted replacement is rolled back at the next start.
    [[nodiscard]] bool replaceAll(const QVariantMap &values);

    bool pluginEnabled(const QString &plugin) const;
    // The stored values of a device type by setting name, of the type that the file holds.
    QVariantHash pluginValues(const QString &plugin) const;
    void setPluginValue(const QString &plugin, const QString &setting, const QVariant &value);

    // The keys that this user stored, without the system-wide fallbacks.
    QStringList ownKeys();
    // The stored value without conversion; invalid when there is none.
    QVariant rawValue(const QString &key) const;
    template <typename T>
    QVariant rawValue(const Key<T> &key) const
    {
        return rawValue(QLatin1String(key.path));
    }

private:
    // The QSettings objects of a process share the pending changes, and each writes them all in its
    // constructor, in sync() and in event(). This one waits for replaceAll() before it does.
    class Settings : public QSettings
    {
    public:
        Settings();

    protected:
        bool event(QEvent *event) override;

    private:
        explicit Settings(const QMutexLocker &lock);
    };

    bool containsKey(const QString &key) const;
    void write(const QString &key, const QVariant &value);
    QStringList storedKeysLocked();
    void fill(const QVariantMap &values);

    Settings m_settings;
    bool m_changed = false;
};

// Converts a device type's setting to the type that its description names: "bool", "int", "float",
// "string" or "list". Invalid when that fails. Returns `value` unchanged for an unknown type.
QVariant storedPluginValue(const QVariant &value, const QString &type);
