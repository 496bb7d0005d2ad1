#pragma once

#include "settings/devicepool.h"

#include <QObject>
#include <QSet>
#include <QString>

#include <optional>

class LiveThings;
class PluginLoader;
class QAbstractThing;
struct LoadedPlugin;

// Asks the enabled device types which devices are attached, and has new ones adopted. Lives on the
// runner's thread.
//
// discover() and create() are plugins' code and may run an event loop of their own, in which any
// request may come, another scan included.
class DeviceScan : public QObject
{
    Q_OBJECT

public:
    // Both are borrowed.
    DeviceScan(const PluginLoader &plugins, LiveThings &things, QObject *parent = nullptr);

    // Hands the stored settings to the devices and releases those of disabled types. True when a
    // type is enabled that the last scan left out, so that another scan is due; one that is under
    // way is repeated.
    [[nodiscard]] bool applySettings();

public slots:
    // Returns at once when a scan is under way.
    void run();

signals:
    // See ZugatewRunner::deviceCreated().
    void deviceCreated(QObject *thui);

private:
    void scanPlugin(const LoadedPlugin &plugin);
    QSet<QString> claimedKeys(const LoadedPlugin &plugin) const;
    bool isClaimed(const LoadedPlugin &plugin, const QString &key) const;
    QObject *prepareInterface(QObject *ui, const QString &shortid) const;
    const DevicePool &pool();

    const PluginLoader &m_plugins;
    LiveThings &m_things;
    bool m_running = false;
    bool m_repeat = false;
    QSet<QString> m_scannedPlugins;   // those that were enabled in the last scan
    std::optional<DevicePool> m_pool; // as read in this scan
    int m_poolGeneration = 0;
};
