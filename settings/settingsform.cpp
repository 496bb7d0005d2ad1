#include "settings/settingsform.h"

#include "settings/reportintervals.h"
#include "settings/zusettings.h"

namespace {

constexpr int russianIndex = 1;
constexpr char russian[] = "ru";
constexpr char english[] = "en";

// Without a stored choice the theme in force, so that the first apply() does not change it.
bool storedDark(const SettingsStore &store, const SettingsForm &page)
{
    return store.contains(keys::Dark) ? store.value(keys::Dark) : page.isDark();
}

} // namespace

void settingsform::load(SettingsForm &page)
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
    values.dark = storedDark(store, page);
    page.show(values);
}

bool settingsform::apply(SettingsForm &page)
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
        page.warn(ZUSettings::tr("Language"),
                  ZUSettings::tr("Language will be changed when the application is relaunched"));
    }
    store.set(keys::Language, language);

    store.set(keys::Autostart, values.autostart);
    page.autostart().setAutostart(values.autostart);
    store.set(keys::CloseToTray, values.closeToTray);
    store.set(keys::StartHidden, values.startHidden);
    store.set(keys::AutoScan, values.autoScan);
    store.set(keys::ScanInterval, values.scanInterval);

    if (values.dark != storedDark(store, page)) {
        page.warn(
            ZUSettings::tr("Theme"),
            ZUSettings::tr("Application theme will be changed when the application is relaunched"));
    }
    store.set(keys::Dark, values.dark);
    return store.flush();
}
