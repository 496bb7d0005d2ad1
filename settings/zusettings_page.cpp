// What the settings page shows and stores.

#include "settings/reportintervals.h"
#include "settings/settingsform.h"
#include "settings/zusettings.h"

namespace {

constexpr int russianIndex = 1;
constexpr char russian[] = "ru";
constexpr char english[] = "en";

} // namespace

void ZUSettings::load(SettingsForm &page) const
{
    SettingsValues values;
    values.intervalIndex = reportIntervalIndex(m_store.value(keys::ReportInterval));
    values.host = m_store.value(keys::CloudHost);
    values.port = m_store.value(keys::CloudPort);
    values.keepAlive = m_store.value(keys::KeepAlive);
    values.languageIndex =
        m_store.value(keys::Language) == QLatin1String(russian) ? russianIndex : 0;
    // The entry may have been made or taken out behind our back.
    values.autostart = page.autostart().autostartSet();
    values.closeToTray = m_store.value(keys::CloseToTray);
    values.startHidden = m_store.value(keys::StartHidden);
    values.autoScan = m_store.value(keys::AutoScan);
    values.scanInterval = m_store.value(keys::ScanInterval);
    values.dark = storedDark(page);
    page.show(values);
}

// While nobody chose a theme, the one in force: the first apply of anything must not change it.
bool ZUSettings::storedDark(const SettingsForm &page) const
{
    return m_store.contains(keys::Dark) ? m_store.value(keys::Dark) : page.isDark();
}

bool ZUSettings::apply(SettingsForm &page)
{
    const SettingsValues values = page.values();
    m_store.set(keys::ReportInterval, reportIntervals().at(values.intervalIndex).seconds);
    m_store.set(keys::CloudHost, values.host);
    m_store.set(keys::CloudPort, values.port);
    m_store.set(keys::KeepAlive, values.keepAlive);

    // The number that the first start stores differs from either name, so that the first apply
    // warns although nobody chose another language. Deliberate.
    const QString language =
        QLatin1String(values.languageIndex == russianIndex ? russian : english);
    if (language != m_store.value(keys::Language)) {
        page.warn(tr("Language"),
                  tr("Language will be changed when the application is relaunched"));
    }
    m_store.set(keys::Language, language);

    m_store.set(keys::Autostart, values.autostart);
    page.autostart().setAutostart(values.autostart);
    m_store.set(keys::CloseToTray, values.closeToTray);
    m_store.set(keys::StartHidden, values.startHidden);
    m_store.set(keys::AutoScan, values.autoScan);
    m_store.set(keys::ScanInterval, values.scanInterval);

    if (values.dark != storedDark(page)) {
        page.warn(tr("Theme"),
                  tr("Application theme will be changed when the application is relaunched"));
    }
    m_store.set(keys::Dark, values.dark);
    return SettingsStore().flush();
}
