#pragma once

#include "settings/keys.h"

#include <QSettings>
#include <QStringList>
#include <QVariant>

#include <limits>

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
        return m_settings.contains(QLatin1String(key.path));
    }
    // Makes sure that the store names the running version as that of its layout; writes if not.
    void markVersion();
    // Removes every key of the application.
    void clear();

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
    void write(const QString &key, const QVariant &value);

    QSettings m_settings;
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
