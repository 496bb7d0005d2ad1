// The part of the runner that finds devices and keeps the pool of those that are known.

#include "runner/log.h"
#include "runner/pluginsettings.h"
#include "runner/zugatewrunner.h"
#include "settings/devicepool.h"
#include "settings/settingsstore.h"
#include "things/gatewaything.h"
#include "things/qabstractthing.h"
#include "things/thingindex.h"

#include <QCoreApplication>
#include <QSet>
#include <QThread>

#include <algorithm>
#include <optional>

// What one scan reads once: the pool, a plugin's settings and the keys of its things.
class ZugatewRunner::Scan
{
public:
    const DevicePool &pool()
    {
        // A plugin's own event loop may have let a request run that wrote the pool.
        if (!m_pool || m_generation != DevicePool::generation()) {
            m_generation = DevicePool::generation();
            m_pool = DevicePool::read();
        }
        return *m_pool;
    }

    void enter(const LoadedPlugin &plugin, const QList<QAbstractThing *> &things)
    {
        m_plugin = &plugin;
        m_settings.reset();
        m_taken.clear();
        if (plugin.keyed != nullptr) {
            for (const QAbstractThing *const thing : things) {
                const QString key = plugin.keyed->deviceKey(thing);
                if (!key.isEmpty()) {
                    m_taken.insert(key);
                }
            }
        }
    }
    const QVariantHash &settings()
    {
        if (!m_settings) {
            m_settings = pluginSettings(m_plugin->name, m_plugin->metadata);
        }
        return *m_settings;
    }
    bool isTaken(const QString &key) const { return m_taken.contains(key); }
    void take(const QString &key) { m_taken.insert(key); }

private:
    std::optional<DevicePool> m_pool;
    int m_generation = 0;
    const LoadedPlugin *m_plugin = nullptr;
    std::optional<QVariantHash> m_settings;
    QSet<QString> m_taken; // of a plugin that tells its things' keys
};

void ZugatewRunner::rescan()
{
    if (m_scanning) {
        // A plugin runs an event loop of its own: the scan that is under way serves both.
        emit finished(Rescan, true);
        return;
    }
    m_scanning = true;
    Scan scan;
    const QVector<LoadedPlugin> plugins = m_plugins.plugins();
    do {
        m_scanAgain = false;
        for (const LoadedPlugin &plugin : plugins) {
            if (SettingsStore().pluginEnabled(plugin.name)) {
                m_scannedPlugins.insert(plugin.name);
                scanPlugin(plugin, scan);
            } else {
                m_scannedPlugins.remove(plugin.name);
            }
        }
    } while (m_scanAgain);
    if (m_gateway->regid().isEmpty()) {
        restoreGateway(scan);
    }
    m_scanning = false;
    emit finished(Rescan, true);
}

void ZugatewRunner::scanPlugin(const LoadedPlugin &plugin, Scan &scan)
{
    const QList<QAbstractThing *> known = m_things;
    scan.enter(plugin, known);
    if (plugin.configurable != nullptr) {
        plugin.configurable->configure(scan.settings());
    }
    const QHash<QString, QVariant> devices = plugin.type->discover();
    QStringList deviceKeys = devices.keys();
    std::sort(deviceKeys.begin(), deviceKeys.end()); // or every start would show another order
    for (const QString &key : qAsConst(deviceKeys)) {
        if (!m_scannedPlugins.contains(plugin.name)) {
            return; // disabled meanwhile, in an event loop of the plugin's own
        }
        if (isClaimed(plugin, key, scan)) {
            continue;
        }
        QObject *ui = nullptr;
        QAbstractThing *const thing =
            plugin.type->create(key, devices.value(key), scan.settings(), &ui);
        if (thing == nullptr || m_origins.contains(thing)) {
            delete ui;
            continue;
        }
        ui = prepareInterface(ui);
        scan.take(key);
        adopt(thing, {plugin.name, key, thing->shortid()}, scan);
        emit deviceCreated(ui);
    }
}

bool ZugatewRunner::isClaimed(const LoadedPlugin &plugin, const QString &key,
                              const Scan &scan) const
{
    if (plugin.keyed != nullptr) {
        return scan.isTaken(key);
    }
    // The thing that was made for this key is the likely one: with it a rescan costs one
    // question for each device, not one for each pair of device and thing.
    const QAbstractThing *const likely = m_made.value(plugin.name).value(key);
    if (likely != nullptr && plugin.type->claims(key, likely)) {
        return true;
    }
    const QList<QAbstractThing *> things = m_things; // claims() may end in mediumGone()
    return std::any_of(things.cbegin(), things.cend(), [&](const QAbstractThing *thing) {
        return thing != likely && m_origins.contains(thing) && plugin.type->claims(key, thing);
    });
}

// A widget can neither be made on this thread nor moved away from it, so plugins hand out plain
// objects that make their widget later, on the interface thread.
QObject *ZugatewRunner::prepareInterface(QObject *ui) const
{
    if (ui == nullptr) {
        return nullptr;
    }
    if (ui->isWidgetType() || ui->thread() != thread()) {
        qCWarning(lcRunner, "A device's interface object is a widget or lives elsewhere: ignored");
        ui->deleteLater();
        return nullptr;
    }
    ui->setParent(nullptr);
    ui->moveToThread(QCoreApplication::instance()->thread());
    return ui;
}

void ZugatewRunner::adopt(QAbstractThing *thing, const Origin &origin, Scan &scan)
{
    thing->setParent(this);
    listenTo(thing);
    connect(thing, &QAbstractThing::mediumGone, this, [this, thing] { release(thing); });
    connect(thing, &QObject::destroyed, this, &ZugatewRunner::thingDestroyed);
    m_things.append(thing);
    m_origins.insert(thing, origin);
    m_made[origin.plugin].insert(origin.key, thing);

    const int known = scan.pool().indexOf(thing->shortid());
    if (known >= 0) {
        const PoolEntry entry = scan.pool().at(known);
        thing->setRegid(entry.regid);
        thing->setAlias(entry.alias);
    }
    if (!m_gateway->regid().isEmpty() && !thing->regid().isEmpty()) {
        m_gateway->addSibling(thing); // announces the gateway's new count
    }
    announce(thing);
}

void ZugatewRunner::restoreGateway(Scan &scan)
{
    const int index =
        scan.pool().indexOfGateway(m_gateway->type(), m_gateway->version(), m_gateway->serial());
    if (index < 0) {
        return;
    }
    const PoolEntry entry = scan.pool().at(index);
    m_gateway->setRegid(entry.regid);
    if (!entry.regid.isEmpty()) {
        const QList<QAbstractThing *> things = m_things;
        for (QAbstractThing *const thing : things) {
            if (m_origins.contains(thing) && !thing->regid().isEmpty()) {
                m_gateway->addSibling(thing);
            }
        }
    }
    // The name that the user gave a gateway that is not registered yet is newer than the pool's.
    if (m_gateway->alias().isEmpty() && !entry.alias.isEmpty()) {
        m_gateway->setAlias(entry.alias);
        announce(m_gateway);
    }
}

void ZugatewRunner::forget(QAbstractThing *thing)
{
    m_things.removeOne(thing);
    const Origin origin = m_origins.take(thing);
    m_made[origin.plugin].remove(origin.key);
}

void ZugatewRunner::release(QAbstractThing *thing)
{
    if (!m_origins.contains(thing)) {
        return;
    }
    forget(thing);
    thing->disconnect(this);
    m_gateway->removeSibling(thing);
    ThingState state(thing, false);
    state.gone = true;
    emit thingChanged(state);
    thing->deleteLater(); // it is the sender
}

void ZugatewRunner::releaseThingsOf(const QString &plugin)
{
    m_scannedPlugins.remove(plugin);
    const QList<QAbstractThing *> things = m_things;
    for (QAbstractThing *const thing : things) {
        if (m_origins.value(thing).plugin == plugin) {
            release(thing);
        }
    }
}

// A plugin deleted its thing without a word. Nothing but the address is left of it.
void ZugatewRunner::thingDestroyed(const QObject *thing)
{
    const auto origin = m_origins.constFind(thing);
    if (origin == m_origins.constEnd()) {
        return;
    }
    ThingState state;
    state.shortid = origin->shortid;
    state.gone = true;
    m_made[origin->plugin].remove(origin->key);
    m_things.erase(std::remove_if(m_things.begin(), m_things.end(),
                                  [thing](const QObject *live) { return live == thing; }),
                   m_things.end());
    m_origins.erase(origin);
    emit thingChanged(state);
}

void ZugatewRunner::updatePool()
{
    const DevicePool pool = DevicePool::read();
    const QList<QAbstractThing *> things = m_things;
    const ThingIndex index(things);
    // The name that the user gave a gateway that is not registered yet is newer than the pool's.
    if (!m_gateway->regid().isEmpty()) {
        m_gateway->setAlias(QString());
    }
    for (QAbstractThing *const thing : things) {
        if (m_origins.contains(thing)) { // a change of name is announced and may end a thing
            thing->setAlias(QString());
        }
    }
    const int gateway =
        pool.indexOfGateway(m_gateway->type(), m_gateway->version(), m_gateway->serial());
    if (gateway >= 0 && m_gateway->alias().isEmpty()) {
        m_gateway->setAlias(pool.at(gateway).alias);
    }
    for (int i = 0; i < pool.size(); ++i) {
        const PoolEntry entry = pool.at(i);
        if (pool.indexOf(entry.key()) != i ||
            (entry.type == m_gateway->type() && entry.version == m_gateway->version())) {
            continue;
        }
        const auto matches = [&entry](const QAbstractThing *thing) {
            return thing->matches(entry.type, entry.version, entry.serial);
        };
        QAbstractThing *thing = index.find(entry.key());
        if (thing == nullptr || !matches(thing)) {
            // Only a thing that matches by a rule of its own is still to be found.
            thing = index.findWhere(matches);
        }
        if (thing != nullptr && m_origins.contains(thing)) {
            thing->setAlias(entry.alias);
        }
    }
    announce(m_gateway);
    for (const QAbstractThing *const thing : things) {
        announce(thing);
    }
}

// `registrations`: a registrar's reply, which may name known devices that are not attached at the
// moment. They come back under what it gave them.
void ZugatewRunner::writePool(const QList<QAbstractThing *> &things,
                              const QJsonObject &registrations)
{
    // Asked before the pool is locked: the answers are plugins' code.
    QVector<PoolEntry> entries;
    entries.reserve(things.size());
    for (const QAbstractThing *const thing : things) {
        entries.append(
            {thing->type(), thing->version(), thing->serial(), thing->regid(), thing->alias()});
    }
    const auto fleet = GatewayThing::registrationsOf(registrations);
    DevicePool::update([&](DevicePool &pool) {
        pool.dropGatewayPlaceholders();
        for (const PoolEntry &entry : qAsConst(entries)) {
            pool.put(entry);
        }
        // Afterwards: an id belongs to the longest key that it begins with.
        for (const GatewayThing::Registration &device : fleet) {
            pool.applyRegistration(device.cloudid, device.alias);
        }
    });
}

void ZugatewRunner::renameThing(const QString &sid, const QString &alias)
{
    QAbstractThing *const target = ThingIndex(allThings()).find(sid);
    if (target == nullptr) {
        fail(TRename, tr("Cannot rename %1: no such thing").arg(sid));
        return;
    }
    QSet<QString> taken;
    for (const QAbstractThing *const thing : qAsConst(m_things)) {
        if (thing != target) {
            taken.insert(thing->alias());
        }
    }
    if (target != m_gateway && !m_gateway->alias().isEmpty()) {
        taken.insert(m_gateway->alias());
    }
    if (taken.contains(alias)) {
        fail(TRename, tr("Cannot rename to %1 - duplicate alias").arg(alias));
        return;
    }
    target->setAlias(alias);
    if (isLive(target)) {
        writePool({target});
        announce(target);
    }
    emit finished(TRename, true);
}

void ZugatewRunner::resetDevPool()
{
    const DevicePool pool = DevicePool::read();
    const QSet<QString> registered = pool.cloudids();
    if (!m_gateway->regid().isEmpty() && !registered.contains(m_gateway->cloudid())) {
        resetGateway();
        return;
    }
    const QList<QAbstractThing *> things = m_things;
    for (QAbstractThing *const thing : things) {
        if (!m_origins.contains(thing) || thing->regid().isEmpty() ||
            registered.contains(thing->cloudid())) {
            continue;
        }
        m_gateway->removeSibling(thing);
        thing->setRegid(QString());
        announce(thing);
    }
    m_gateway->discardPending(registered);
}
