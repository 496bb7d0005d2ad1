#pragma once

#include "settings/keys.h"

#include <QMap>
#include <QSettings>
#include <QStringList>
#include <QVariant>

#include <limits>

class QMutexLocker;

// A short-lived view of the per-user settings, made for one use and dropped: what one component
// writes, the next read anywhere sees. Any thread; each object is for one thread.
//
// A stored value that cannot be taken for the key's type counts as absent, with a log line.
class SettingsStore
{
public:
    SettingsStore();
    // Writes what is still pending: the file is then wholly old or wholly new.
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
    // For keys that take values of more than one type, as the language does.
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
    // Writes now what any object has pending. False, with a log line, when that cannot be done, and
    // for every later call of this object: make one for the purpose.
    bool flush();
    // Where the settings are, to tell the user.
    QString location() const { return m_settings.fileName(); }
    // Makes sure that the store names the running version as that of its layout; writes if not.
    void markVersion();
    // Removes every key of the application.
    void clear();
    // Makes `values` all that this user stored, written at once: the file, and what this process
    // finds in the store meanwhile, is wholly old or wholly new. False, with the store as it was,
    // when it cannot be written. A registry is made so again when the gateway starts.
    bool replaceAll(const QMap<QString, QVariant> &values);

    bool pluginEnabled(const QString &plugin) const;
    // The stored values of a device type: setting name to value, as the file holds them.
    QVariantHash pluginValues(const QString &plugin) const;
    void setPluginValue(const QString &plugin, const QString &setting, const QVariant &value);

    // Every key that this user stored, system-wide fallbacks left out.
    QStringList ownKeys();
    QVariant rawValue(const QString &key) const;
    // As stored, of whatever type; invalid when there is nothing.
    template <typename T>
    QVariant rawValue(const Key<T> &key) const
    {
        return rawValue(QLatin1String(key.path));
    }

private:
    // All objects of a process share what is stored and the pending changes, and each writes all of
    // those when it is made, is synchronised, or has its turn in an event loop. Here they wait for
    // replaceAll().
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
    QStringList storedKeys();
    void fill(const QMap<QString, QVariant> &values);

    Settings m_settings;
    bool m_changed = false;
};

// A boolean as the store's file may hold it; `ok` tells whether `value` is one.
bool storedBool(const QVariant &value, bool *ok);

// The same for a text. The file format cuts a text with bare commas into a list, and people who
// edit the file forget the quotes.
QString storedText(const QVariant &value, bool *ok);

// The same for an integer. QVariant's own conversion wraps what does not fit.
template <typename Integer>
Integer storedInteger(const QVariant &value, bool *ok)
{
    const qint64 wide = value.toLongLong(ok);
    *ok = *ok && wide >= std::numeric_limits<Integer>::min() &&
          wide <= std::numeric_limits<Integer>::max();
    return static_cast<Integer>(wide);
}

// The same for a setting of a device type, in the type that its description names: "bool", "int",
// "float", "string" or "list". Invalid when `value` is not of that type; as it is for any other.
QVariant storedPluginValue(const QVariant &value, const QString &type);
