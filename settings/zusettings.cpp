#include "settings/zusettings.h"

#include "settings/devicepool.h"
#include "settings/log.h"
#include "settings/settingsform.h"
#include "settings/settingsstream.h"
#include "settings/windowlayout.h"

Q_LOGGING_CATEGORY(lcSettings, "kvg.settings")

namespace {

void removeDamagedLayouts(QVariantMap &values)
{
    const auto check = [&values](const Key<QByteArray> &key, bool (*isValid)(const QByteArray &)) {
        const QString path = QLatin1String(key.path);
        if (values.contains(path) && !isValid(values.value(path).toByteArray())) {
            values.remove(path);
            qCWarning(lcSettings).noquote() << "Not restored: the backup's" << path << "is damaged";
        }
    };
    check(keys::PageState, windowlayout::isState);
    check(keys::WindowState, windowlayout::isState);
    check(keys::PageGeometry, windowlayout::isGeometry);
    check(keys::WindowGeometry, windowlayout::isGeometry);
}

} // namespace

ZUSettings::ZUSettings(QObject *parent)
    : QObject(parent)
{
    m_store.markVersion();
}

QJsonObject ZUSettings::pool() const
{
    return DevicePool::storedJson(m_store);
}

void ZUSettings::load(SettingsForm &page) const
{
    settingsform::load(page);
}

bool ZUSettings::apply(SettingsForm &page)
{
    return settingsform::apply(page);
}

QByteArray ZUSettings::windowState(const Key<QByteArray> &key) const
{
    const QByteArray stored = m_store.value(key);
    return windowlayout::isState(stored) ? stored : QByteArray();
}

QByteArray ZUSettings::windowGeometry(const Key<QByteArray> &key) const
{
    const QByteArray stored = m_store.value(key);
    return windowlayout::isGeometry(stored) ? stored : QByteArray();
}

bool ZUSettings::exportAll(QDataStream &stream)
{
    return settingsstream::write(m_store, stream);
}

bool ZUSettings::importAll(const QByteArray &chunk)
{
    std::optional<QVariantMap> values = settingsstream::parse(chunk);
    if (!values) {
        return false;
    }
    removeDamagedLayouts(*values);
    values->insert(QLatin1String(keys::StoredVersion.path), QLatin1String(defaults::Version));
    const bool replaced = DevicePool::replaceStored([&] { return m_store.replaceAll(*values); });
    if (!replaced) {
        qCWarning(lcSettings, "Cannot write the restored settings; the old ones stay");
    }
    return replaced;
}

bool ZUSettings::canImport(const QByteArray &chunk)
{
    return settingsstream::parse(chunk).has_value();
}

void ZUSettings::resetRegistration()
{
    m_store.set(keys::CloudSerial, QString());
    DevicePool::update([](DevicePool &pool) { pool.clearRegistrations(); });
}
