#include "runner/devicescan.h"

#include "loader/pluginloader.h"
#include "runner/livethings.h"
#include "runner/log.h"
#include "runner/pluginsettings.h"
#include "settings/settingsstore.h"
#include "watch/runwatch.h"

#include <QCoreApplication>
#include <QThread>

#include <algorithm>

DeviceScan::DeviceScan(const PluginLoader &plugins, LiveThings &things, QObject *parent)
    : QObject(parent)
    , m_plugins(plugins)
    , m_things(things)
{
}

void DeviceScan::run()
{
    if (m_running) {
        return;
    }
    m_running = true;
    const QVector<LoadedPlugin> plugins = m_plugins.plugins();
    do {
        m_repeat = false;
        for (const LoadedPlugin &plugin : plugins) {
            if (SettingsStore().pluginEnabled(plugin.name)) {
                m_scannedPlugins.insert(plugin.name);
                scanPlugin(plugin);
            } else {
                m_scannedPlugins.remove(plugin.name);
            }
        }
    } while (m_repeat);
    if (m_things.gateway().regid().isEmpty()) {
        m_things.restoreGateway(pool());
    }
    m_pool.reset();
    m_running = false;
}

bool DeviceScan::applySettings()
{
    bool isScanDue = false;
    const QVector<LoadedPlugin> plugins = m_plugins.plugins();
    for (const LoadedPlugin &plugin : plugins) {
        const QVariantHash settings = pluginSettings(plugin.name, plugin.metadata);
        if (plugin.configurable != nullptr) {
            runwatch::callPlugin(plugin.name, "configure()",
                                 [&] { plugin.configurable->configure(settings); });
        }
        if (!settings.value(QLatin1String(keys::PluginEnabled)).toBool()) {
            m_scannedPlugins.remove(plugin.name);
            m_things.releaseFrom(plugin.name);
            continue;
        }
        isScanDue = isScanDue || !m_scannedPlugins.contains(plugin.name);
        m_things.forEachDevice([&](QAbstractThing *device) {
            if (device->type() == plugin.name) {
                runwatch::callPlugin(plugin.name, "setSettings()",
                                     [&] { device->setSettings(settings); });
            }
        });
    }
    m_repeat = m_repeat || (m_running && isScanDue);
    return isScanDue;
}

// Read once in a scan, and again when a request in a plugin's event loop has written it.
const DevicePool &DeviceScan::pool()
{
    if (!m_pool || m_poolGeneration != DevicePool::generation()) {
        m_poolGeneration = DevicePool::generation();
        m_pool = DevicePool::read();
    }
    return *m_pool;
}

void DeviceScan::scanPlugin(const LoadedPlugin &plugin)
{
    const runwatch::PluginCall scan(plugin.name);
    QSet<QString> claimed = claimedKeys(plugin);
    std::optional<QVariantHash> settings; // read when they are needed
    const auto pluginValues = [&]() -> const QVariantHash & {
        if (!settings) {
            settings = pluginSettings(plugin.name, plugin.metadata);
        }
        return *settings;
    };
    if (plugin.configurable != nullptr) {
        runwatch::callPlugin(plugin.name, "configure()",
                             [&] { plugin.configurable->configure(pluginValues()); });
    }
    const QHash<QString, QVariant> devices =
        runwatch::callPlugin(plugin.name, "discover()", [&] { return plugin.type->discover(); });
    QStringList deviceKeys = devices.keys();
    std::sort(deviceKeys.begin(), deviceKeys.end()); // QHash has a random order
    for (const QString &key : qAsConst(deviceKeys)) {
        if (!m_scannedPlugins.contains(plugin.name)) {
            return; // disabled while the plugin ran an event loop
        }
        if (plugin.keyed != nullptr ? claimed.contains(key) : isClaimed(plugin, key)) {
            continue;
        }
        QObject *ui = nullptr;
        QAbstractThing *const device = runwatch::callPlugin(plugin.name, "create()", [&] {
            return plugin.type->create(key, devices.value(key), pluginValues(), &ui);
        });
        if (device == nullptr || m_things.isLive(device)) {
            delete ui;
            continue;
        }
        ui = prepareInterface(ui, device->shortid());
        claimed.insert(key);
        m_things.adopt(device, {plugin.name, key}, pool());
        emit deviceCreated(ui);
    }
}

// The keys that have a device already, of a plugin that can tell them.
QSet<QString> DeviceScan::claimedKeys(const LoadedPlugin &plugin) const
{
    QSet<QString> keys;
    if (plugin.keyed != nullptr) {
        const QList<QAbstractThing *> devices = m_things.devices();
        for (const QAbstractThing *const device : devices) {
            const QString key = plugin.keyed->deviceKey(device);
            if (!key.isEmpty()) {
                keys.insert(key);
            }
        }
    }
    return keys;
}

bool DeviceScan::isClaimed(const LoadedPlugin &plugin, const QString &key) const
{
    // Asked first, the device that was created for this key saves asking about every pair of key
    // and device.
    const QAbstractThing *const likely = m_things.createdFor(plugin.name, key);
    if (likely != nullptr && plugin.type->claims(key, likely)) {
        return true;
    }
    const QList<QAbstractThing *> devices = m_things.devices();
    return std::any_of(devices.cbegin(), devices.cend(), [&](const QAbstractThing *device) {
        return device != likely && m_things.isLive(device) && plugin.type->claims(key, device);
    });
}

// A widget can neither be created on this thread nor moved away from it, so plugins hand out plain
// objects that create their widget later, on the interface thread.
QObject *DeviceScan::prepareInterface(QObject *ui, const QString &shortid) const
{
    if (ui == nullptr) {
        return nullptr;
    }
    if (ui->isWidgetType() || ui->thread() != thread()) {
        qCWarning(lcRunner,
                  "Ignored a device's interface object: it is a widget or lives on another thread");
        ui->deleteLater();
        return nullptr;
    }
    ui->setParent(nullptr);
    ui->setProperty("shortid", shortid);
    ui->moveToThread(QCoreApplication::instance()->thread());
    return ui;
}
