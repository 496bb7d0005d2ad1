#pragma once

#include "settings/defaults.h"

#include <QByteArray>
#include <QString>

#include <type_traits>

// Every key of the settings store with its type, default and unit. No other file spells a key.
template <typename T>
struct Key
{
    const char *path;
    std::conditional_t<std::is_class_v<T>, const char *, T> fallback; // texts as literals
};

namespace keys {

inline constexpr Key<int> ReportInterval{"Cloud/Interval", 300}; // seconds
inline constexpr Key<QString> CloudHost{"Cloud/Host", defaults::CloudHost};
inline constexpr Key<quint32> CloudPort{"Cloud/Port", 8883};
inline constexpr Key<int> KeepAlive{"Cloud/KeepAlive", 300}; // seconds
// For administrators: what may wait for the cloud. Past it the oldest states are dropped.
inline constexpr Key<int> QueueSize{"Cloud/QueueSize", 256};   // MiB
inline constexpr Key<int> QueueDays{"Cloud/QueueDays", 7};     // 0: no limit
inline constexpr Key<QString> CloudSerial{"Cloud/Serial", ""}; // empty: not registered

// A locale name, or the QLocale::Language that the first start stores; read as a string.
inline constexpr Key<QString> Language{"UI/Language", "en"};
inline constexpr Key<bool> Dark{"UI/Dark", false};
inline constexpr Key<bool> TrayNoticeShown{"UI/TrayNoticeShown", false};
// "column:width" of each column of the state table, from left to right.
inline constexpr Key<QString> StateColumns{"UI/StateColumns", ""};
inline constexpr Key<bool> ShowAbsent{"UI/ShowAbsent", false};
inline constexpr Key<bool> DevicePane{"UI/DevicePane", true};
inline constexpr Key<int> DevicePaneSize{"UI/DevicePaneSize", 290}; // pixels
inline constexpr Key<QByteArray> PageGeometry{"UI/Geom", ""};
inline constexpr Key<QByteArray> PageState{"UI/State", ""};

inline constexpr Key<QByteArray> WindowGeometry{"System/Window", ""};
inline constexpr Key<QByteArray> WindowState{"System/State", ""};
inline constexpr Key<bool> CloseToTray{"System/CloseToTray", true};
inline constexpr Key<bool> StartHidden{"System/StartHidden", false};
inline constexpr Key<bool> AutoScan{"System/AutoScan", true};
inline constexpr Key<int> ScanInterval{"System/ScanInterval", 1}; // minutes
inline constexpr Key<bool> KeepHistory{"System/History", true};
inline constexpr Key<bool> Autostart{"System/Autostart", false};
inline constexpr Key<QString> ExportDirectory{"System/ExportDirectory", ""}; // empty: home
inline constexpr Key<QString> StoredVersion{"System/Version", defaults::Version};

inline constexpr Key<QString> DevicePool{"Devices/Pool", "{}"};
// The text of an unreadable pool, kept when a new pool replaces it.
inline constexpr Key<QString> UnreadablePool{"Devices/PoolUnreadable", ""};

inline constexpr Key<QString> RegistrarEndpoint{"Web/RegEndpoint", defaults::RegistrarUrl};
inline constexpr Key<QString> Portal{"Web/Cloud", defaults::PortalUrl};
inline constexpr Key<QString> PortalPage{"Web/RegPage", "/things"};
inline constexpr Key<QString> UpdateFeed{"Web/UpdateURL", defaults::UpdateUrl};

inline constexpr Key<quint32> UpdateInterval{"Updates/Interval", 7}; // days
inline constexpr Key<bool> UpdateAutomatically{"Updates/Auto", true};

// The key of a device type's setting. QSettings reads the doubled slash as one, so that keys
// written with it begin with pluginPrefix().
inline QString pluginSetting(const QString &plugin, const QString &setting)
{
    return QStringLiteral("Plugins//%1/%2").arg(plugin, setting);
}
inline QString pluginPrefix(const QString &plugin)
{
    return QStringLiteral("Plugins/%1/").arg(plugin);
}
inline constexpr char PluginEnabled[] = "enabled"; // of every device type, default true

} // namespace keys
