#include "settings/zusettings.h"

#include "settings/devicepool.h"
#include "settings/log.h"
#include "settings/reportintervals.h"
#include "settings/settingsform.h"
#include "settings/settingsstream.h"
#include "settings/windowlayout.h"

Q_LOGGING_CATEGORY(lcSettings, "kvg.settings")

namespace {

constexpr int russianIndex = 1;
constexpr char russian[] = "ru";
constexpr char english[] = "en";

// Without a stored choice the theme in force, so that the first apply() does not change it.
bool storedDark(const SettingsStore &store, const SettingsForm &page)
{
    return store.contains(keys::Dark) ? store.value(keys::Dark) : page.isDark();
}

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
    const SettingsStore store;
    SettingsValues values;
    values.intervalIndex = reportIntervalIndex(store.value(keys::ReportInterval));
    values.host = store.value(keys::CloudHost);
    values.port = store.value(keys::CloudPort);
    values.keepAlive = store.value(keys::KeepAlive);
    values.languageIndex = store.value(keys::Language) == QLatin1String(russian) ? russianIndex : 0;
    values.autostart = page.autostart().autostartSet(); // other programs may change the entry
    values.closeToTray = store.value(keys::CloseToTray);
    values.startHidden = store.value(keys::StartHidden);
    values.autoScan = store.value(keys::AutoScan);
    values.scanInterval = store.value(keys::ScanInterval);
    values.keepHistory = store.value(keys::KeepHistory);
    values.dark = storedDark(store, page);
    page.show(values);
}

bool ZUSettings::apply(SettingsForm &page)
{
    const SettingsValues values = page.values();
    SettingsStore store;
    store.set(keys::ReportInterval, reportIntervals().at(values.intervalIndex).seconds);
    store.set(keys::CloudHost, values.host);
    store.set(keys::CloudPort, values.port);
    store.set(keys::KeepAlive, values.keepAlive);

    // The first start stores the language's number, which equals neither name: the first apply
    // warns in any case.
    const QString language =
        QLatin1String(values.languageIndex == russianIndex ? russian : english);
    if (language != store.value(keys::Language)) {
        page.warn(tr("Language"),
                  tr("Language will be changed when the application is relaunched"));
    }
    store.set(keys::Language, language);

    store.set(keys::Autostart, values.autostart);
    page.autostart().setAutostart(values.autostart);
    store.set(keys::CloseToTray, values.closeToTray);
    store.set(keys::StartHidden, values.startHidden);
    store.set(keys::AutoScan, values.autoScan);
    store.set(keys::ScanInterval, values.scanInterval);
    store.set(keys::KeepHistory, values.keepHistory);

    if (values.dark != storedDark(store, page)) {
        page.warn(tr("Theme"),
                  tr("Application theme will be changed when the application is relaunched"));
    }
    store.set(keys::Dark, values.dark);
    return store.flush();
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
