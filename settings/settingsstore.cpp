#include "settings/settingsstore.h"

#include "settings/log.h"
#include "settings/settingsfile.h"
#include "settings/storagefaults.h"

#include <QMutex>

#include <atomic>
#include <limits>

namespace {

// Held while QSettings reads or may write.
QMutex &storeLock()
{
    static QMutex mutex;
    return mutex;
}

template <typename T, typename Convert>
T converted(const QVariant &stored, const Key<T> &key, Convert convert)
{
    if (!stored.isValid()) {
        return T(key.fallback);
    }
    bool ok = false;
    const T value = convert(stored, &ok);
    if (!ok) {
        qCWarning(lcSettings, "Using the default of %s: its stored value is invalid", key.path);
        return T(key.fallback);
    }
    return value;
}

// These convert a stored value; `ok` tells whether it has that type.

bool storedBool(const QVariant &value, bool *ok)
{
    *ok = true;
    if (value.type() == QVariant::Bool) {
        return value.toBool();
    }
    // QSettings' files hold words; administrators also write numbers.
    const QString text = value.toString().trimmed().toLower();
    if (text == QLatin1String("true") || text == QLatin1String("1")) {
        return true;
    }
    *ok = text == QLatin1String("false") || text == QLatin1String("0");
    return false;
}

// Joins a list with commas: QSettings reads a text with commas as a list, unless the user who
// edited the file put it in quotes.
QString storedText(const QVariant &value, bool *ok)
{
    if (value.type() == QVariant::StringList) {
        *ok = true;
        return value.toStringList().join(QLatin1Char(','));
    }
    *ok = value.canConvert(QMetaType::QString);
    return value.toString();
}

// Rejects a number outside of Integer's range, which QVariant's own conversion would truncate.
template <typename Integer>
Integer storedInteger(const QVariant &value, bool *ok)
{
    const qint64 wide = value.toLongLong(ok);
    *ok = *ok && wide >= std::numeric_limits<Integer>::min() &&
          wide <= std::numeric_limits<Integer>::max();
    return static_cast<Integer>(wide);
}

} // namespace

QVariant storedPluginValue(const QVariant &value, const QString &type)
{
    bool ok = true;
    QVariant typed = value;
    if (type == QLatin1String("bool")) {
        typed = storedBool(value, &ok);
    } else if (type == QLatin1String("int")) {
        typed = storedInteger<int>(value, &ok);
    } else if (type == QLatin1String("float")) {
        const double number = value.toDouble(&ok);
        ok = ok && qIsFinite(number);
        typed = number;
    } else if (type == QLatin1String("string") || type == QLatin1String("list")) {
        typed = storedText(value, &ok);
    }
    return ok ? typed : QVariant();
}

// Holds the lock while QSettings' constructor runs, no longer.
SettingsStore::Settings::Settings()
    : Settings(QMutexLocker(&storeLock()))
{
}

SettingsStore::Settings::Settings(const QMutexLocker & /*lock*/) {}

bool SettingsStore::Settings::event(QEvent *event)
{
    const QMutexLocker lock(&storeLock());
    return QSettings::event(event);
}

SettingsStore::~SettingsStore()
{
    if (m_changed && !flush()) {
        StorageFaults::instance().note(location(), false); // the caller cannot tell the user
    }
}

bool SettingsStore::flush()
{
    {
        const QMutexLocker lock(&storeLock());
        m_settings.sync();
    }
    m_changed = false;
    static std::atomic<bool> isFaultLogged{false};
    if (m_settings.status() == QSettings::AccessError) {
        if (!isFaultLogged.exchange(true)) {
            qCWarning(lcSettings).noquote()
                << "Cannot write the settings to" << location()
                << "- they are kept in memory; check the free space and the access rights";
        }
        return false;
    }
    if (isFaultLogged.exchange(false)) {
        qCInfo(lcSettings).noquote() << "The settings are written again to" << location();
    }
    StorageFaults::instance().note(location(), true);
    if (m_settings.status() == QSettings::FormatError) {
        qCWarning(lcSettings).noquote()
            << m_settings.fileName() << "was damaged; kept the values that could be read";
    }
    return true;
}

void SettingsStore::write(const QString &key, const QVariant &value)
{
    const QMutexLocker lock(&storeLock());
    m_changed = true;
    m_settings.setValue(key, storable(value));
}

bool SettingsStore::containsKey(const QString &key) const
{
    const QMutexLocker lock(&storeLock());
    return m_settings.contains(key);
}

int SettingsStore::value(const Key<int> &key) const
{
    return converted(rawValue(key), key, storedInteger<int>);
}

quint32 SettingsStore::value(const Key<quint32> &key) const
{
    return converted(rawValue(key), key, storedInteger<quint32>);
}

bool SettingsStore::value(const Key<bool> &key) const
{
    return converted(rawValue(key), key, storedBool);
}

QString SettingsStore::value(const Key<QString> &key) const
{
    return converted(rawValue(key), key, storedText);
}

QByteArray SettingsStore::value(const Key<QByteArray> &key) const
{
    return converted(rawValue(key), key, [](const QVariant &v, bool *ok) {
        *ok = v.canConvert(QMetaType::QByteArray);
        return v.toByteArray();
    });
}

void SettingsStore::markVersion()
{
    const QString running = QLatin1String(defaults::Version);
    if (!contains(keys::StoredVersion) || value(keys::StoredVersion) != running) {
        set(keys::StoredVersion, running);
    }
}

void SettingsStore::clear()
{
    const QMutexLocker lock(&storeLock());
    fill({});
}

bool SettingsStore::replaceAll(const QVariantMap &values)
{
    QVariantMap old;
    const QMutexLocker lock(&storeLock());
    const QStringList keys = storedKeysLocked();
    for (const QString &key : keys) {
        old.insert(key, m_settings.value(key));
    }
    return replaceSettings([&] {
        fill(values);
        m_settings.sync();
        if (m_settings.status() != QSettings::AccessError) {
            return true;
        }
        fill(old); // QSettings keeps unsaved values and would write them at the next sync
        return false;
    });
}

void SettingsStore::fill(const QVariantMap &values)
{
    m_changed = true;
    // Not QSettings::clear(): on Windows it deletes the registry key that other objects have open.
    const QStringList keys = storedKeysLocked();
    for (const QString &key : keys) {
        if (!values.contains(key)) {
            m_settings.remove(key);
        }
    }
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        m_settings.setValue(it.key(), storable(it.value()));
    }
}

bool SettingsStore::pluginEnabled(const QString &plugin) const
{
    const QString key = keys::pluginSetting(plugin, QLatin1String(keys::PluginEnabled));
    return converted(rawValue(key), Key<bool>{qUtf8Printable(key), true}, storedBool);
}

QVariantHash SettingsStore::pluginValues(const QString &plugin) const
{
    const QString prefix = keys::pluginPrefix(plugin);
    QVariantHash values;
    const QMutexLocker lock(&storeLock());
    const QStringList keys = m_settings.allKeys();
    for (const QString &key : keys) {
        if (key.startsWith(prefix)) {
            values.insert(key.section(QLatin1Char('/'), -1, -1, QString::SectionSkipEmpty),
                          m_settings.value(key));
        }
    }
    return values;
}

void SettingsStore::setPluginValue(const QString &plugin, const QString &setting,
                                   const QVariant &value)
{
    write(keys::pluginSetting(plugin, setting), value);
}

QStringList SettingsStore::ownKeys()
{
    const QMutexLocker lock(&storeLock());
    return storedKeysLocked();
}

QStringList SettingsStore::storedKeysLocked()
{
    m_settings.setFallbacksEnabled(false);
    const QStringList keys = m_settings.allKeys();
    m_settings.setFallbacksEnabled(true);
    return keys;
}

QVariant SettingsStore::rawValue(const QString &key) const
{
    const QMutexLocker lock(&storeLock());
    return m_settings.value(key);
}
