#include "runner/livethings.h"

#include "things/thingindex.h"

#include <algorithm>

LiveThings::LiveThings(QObject *parent)
    : QObject(parent)
    , m_gateway(this)
{
    listenTo(&m_gateway);
    connect(&m_gateway, &GatewayThing::siblingUpdated, this, &LiveThings::emitFullState);
}

LiveThings::~LiveThings()
{
    // Qt deletes the devices after the gateway. A device may end others, and emit signals, while it
    // is deleted.
    const auto things = findChildren<QAbstractThing *>(QString(), Qt::FindDirectChildrenOnly);
    for (QAbstractThing *const thing : things) {
        thing->disconnect(this);
        thing->disconnect(&m_gateway);
    }
}

QList<QAbstractThing *> LiveThings::all()
{
    return QList<QAbstractThing *>{&m_gateway} + m_devices;
}

bool LiveThings::isLive(const QObject *thing) const
{
    return thing == &m_gateway || m_records.contains(thing);
}

QAbstractThing *LiveThings::createdFor(const QString &plugin, const QString &key) const
{
    return m_deviceByPluginKey.value(plugin).value(key);
}

ThingStateList LiveThings::records()
{
    ThingStateList list;
    list.reserve(m_devices.size() + 1);
    const QList<QAbstractThing *> things = all();
    for (const QAbstractThing *const thing : things) {
        if (const auto record = recordOf(thing)) {
            list.append(*record);
        }
    }
    return list;
}

QStringList LiveThings::unnamed()
{
    QStringList shortids;
    const QList<QAbstractThing *> things = all();
    for (const QAbstractThing *const thing : things) {
        if (thing->alias().isEmpty()) {
            shortids.append(thing->shortid());
        }
    }
    return shortids;
}

bool LiveThings::areAllRegistered() const
{
    return !m_gateway.regid().isEmpty() &&
           std::all_of(m_devices.cbegin(), m_devices.cend(), [this](const QAbstractThing *device) {
               return !device->regid().isEmpty() && m_gateway.hasSibling(device->cloudid());
           });
}

// Lambdas hold the thing: sender() walks all connections of the receiver, which costs more than
// the rest of a state change when there are ten thousand things.
void LiveThings::listenTo(QAbstractThing *thing)
{
    connect(thing, &QAbstractThing::stateChanged, this,
            [this, thing](const QJsonObject &state) { emitStateChange(thing, state); });
    connect(thing, &QAbstractThing::serialChanged, this,
            [this, thing](const QString &old) { emitSerialChange(thing, old); });
}

// By another thing, or by a device that is absent.
bool LiveThings::isAliasTaken(const QAbstractThing *thing, const DevicePool &pool)
{
    const QString alias = thing->alias();
    if (alias.isEmpty()) {
        return false;
    }
    const QList<QAbstractThing *> things = all();
    bool isTaken = std::any_of(things.cbegin(), things.cend(), [&](const QAbstractThing *other) {
        return other != thing && other->alias() == alias;
    });
    for (int i = 0; i < pool.size() && !isTaken; ++i) {
        isTaken = pool.at(i).alias == alias;
    }
    return isTaken;
}

void LiveThings::adopt(QAbstractThing *device, const Origin &origin, const DevicePool &pool)
{
    device->setParent(this);
    listenTo(device);
    connect(device, &QAbstractThing::mediumGone, this, [this, device] { release(device); });
    connect(device, &QObject::destroyed, this, &LiveThings::deviceDestroyed);
    m_devices.append(device);
    m_records.insert(device, {origin, device->shortid()});
    m_deviceByPluginKey[origin.plugin].insert(origin.key, device);
    if (const auto entry = entryOf(device, pool)) {
        applyPoolEntry(device, *entry, Registration | Name);
    } else if (isAliasTaken(device, pool)) {
        device->setAlias(QString()); // the user will be asked for one
    }
    addIfRegistered(device); // a plugin may give its device an id
    emitFullState(device);
}

// Applies what the device pool has for a thing. An unregistered gateway has no siblings; they come
// with its registration id.
void LiveThings::applyPoolEntry(QAbstractThing *thing, const PoolEntry &entry, int parts)
{
    if ((parts & Registration) != 0) {
        thing->setRegid(entry.regid);
    }
    if (thing == &m_gateway) {
        if ((parts & Registration) != 0) {
            forEachDevice([this](QAbstractThing *device) { addIfRegistered(device); });
        }
        // The user may have named an unregistered gateway after the pool was written.
        if ((parts & Name) != 0 && m_gateway.alias().isEmpty()) {
            m_gateway.setAlias(entry.alias);
        }
        return;
    }
    if ((parts & Name) != 0) {
        thing->setAlias(entry.alias);
    }
    if ((parts & Registration) != 0) {
        addIfRegistered(thing);
    }
}

void LiveThings::addIfRegistered(QAbstractThing *device)
{
    if (isLive(device) && !m_gateway.regid().isEmpty() && !device->regid().isEmpty()) {
        m_gateway.addSibling(device); // emits the gateway's new state
    }
}

std::optional<PoolEntry> LiveThings::entryOf(const QAbstractThing *thing,
                                             const DevicePool &pool) const
{
    const int index = thing == &m_gateway
                          ? pool.indexOfGateway(thing->type(), thing->version(), thing->serial())
                          : pool.indexOf(thing->shortid());
    return index < 0 ? std::nullopt : std::optional(pool.at(index));
}

void LiveThings::restoreGateway(const DevicePool &pool)
{
    const QString alias = m_gateway.alias();
    if (const auto entry = entryOf(&m_gateway, pool)) {
        applyPoolEntry(&m_gateway, *entry, Registration | Name);
    }
    if (m_gateway.alias() != alias) {
        emitFullState(&m_gateway);
    }
}

void LiveThings::restoreRegistrations(const QString &oldGatewayId)
{
    const DevicePool pool = DevicePool::read();
    const auto apply = [&](QAbstractThing *thing) {
        applyPoolEntry(thing, entryOf(thing, pool).value_or(PoolEntry()), Registration);
    };
    m_gateway.setRegid(QString()); // devices become its siblings again when it has its new id
    m_gateway.setAlias(QString()); // restoreNames() gives it the restored one
    forEachDevice([&](QAbstractThing *device) {
        m_gateway.removeSibling(device); // while the device still has its old id
        apply(device);
    });
    apply(&m_gateway);
    const bool isSameGateway = m_gateway.cloudid() == oldGatewayId;
    m_gateway.discardPending(isSameGateway ? pool.cloudids() : QSet<QString>());
}

void LiveThings::restoreNames()
{
    const DevicePool pool = DevicePool::read();
    const QList<QAbstractThing *> devices = m_devices;
    const ThingIndex index(devices);
    if (!m_gateway.regid().isEmpty()) {
        m_gateway.setAlias(QString());
    }
    forEachDevice([](QAbstractThing *device) { device->setAlias(QString()); });
    if (const auto entry = entryOf(&m_gateway, pool)) {
        applyPoolEntry(&m_gateway, *entry, Name);
    }
    for (int i = 0; i < pool.size(); ++i) {
        const PoolEntry entry = pool.at(i);
        if (pool.indexOf(entry.key()) != i ||
            (entry.type == m_gateway.type() && entry.version == m_gateway.version())) {
            continue;
        }
        const auto matches = [&entry](const QAbstractThing *thing) {
            return thing->matches(entry.type, entry.version, entry.serial);
        };
        QAbstractThing *device = index.find(entry.key());
        if (device == nullptr || !matches(device)) {
            // No device has this short id; ask those that override matches().
            device = index.findWhere(matches);
        }
        if (device != nullptr && isLive(device)) {
            applyPoolEntry(device, entry, Name);
        }
    }
    emitFullState(&m_gateway);
    for (const QAbstractThing *const device : devices) {
        emitFullState(device);
    }
}

void LiveThings::keepRegistered(const QSet<QString> &cloudids)
{
    forEachDevice([&](QAbstractThing *device) {
        if (!device->regid().isEmpty() && !cloudids.contains(device->cloudid())) {
            m_gateway.removeSibling(device);
            device->setRegid(QString());
            emitFullState(device);
        }
    });
    m_gateway.discardPending(cloudids);
}

void LiveThings::voidRegistrations()
{
    m_gateway.resetRegistration();
    forEachDevice([this](QAbstractThing *device) {
        m_gateway.removeSibling(device); // while the device still has its id
        device->setRegid(QString());
    });
}

void LiveThings::storeRegistration(const QJsonObject &result)
{
    const QList<QAbstractThing *> things = all();
    writePool(things, result);
    for (const QAbstractThing *const thing : things) {
        if (isLive(thing) && (thing == &m_gateway || !thing->regid().isEmpty())) {
            emitFullState(thing);
        }
    }
}

// `registrations`: the registrar's result. It may name devices of the pool that are not attached;
// they come back under the ids that it gave them.
void LiveThings::writePool(const QList<QAbstractThing *> &things, const QJsonObject &registrations)
{
    // Plugins' code runs here, so before the pool is locked.
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
        // After the entries: an id belongs to the longest key that it begins with.
        for (const GatewayThing::Registration &device : fleet) {
            pool.applyRegistration(device.cloudid, device.alias);
        }
    });
}

QString LiveThings::rename(const QString &sid, const QString &alias)
{
    const QList<QAbstractThing *> things = all();
    QAbstractThing *const target = ThingIndex(things).find(sid);
    if (target == nullptr) {
        return tr("Cannot rename %1: no such thing").arg(sid);
    }
    for (const QAbstractThing *const thing : things) {
        const bool mayShare = thing == &m_gateway && thing->alias().isEmpty();
        if (thing != target && !mayShare && thing->alias() == alias) {
            return tr("Cannot rename to %1 - duplicate alias").arg(alias);
        }
    }
    target->setAlias(alias);
    if (isLive(target)) {
        writePool({target});
        emitFullState(target);
    }
    return {};
}

void LiveThings::forget(const QObject *device)
{
    m_devices.erase(std::remove_if(m_devices.begin(), m_devices.end(),
                                   [device](const QObject *live) { return live == device; }),
                    m_devices.end());
    const Origin origin = m_records.take(device).origin;
    m_deviceByPluginKey[origin.plugin].remove(origin.key);
}

void LiveThings::release(QAbstractThing *device)
{
    if (!m_records.contains(device)) {
        return;
    }
    forget(device);
    device->disconnect(this);
    m_gateway.removeSibling(device);
    emitGone(device);
    device->deleteLater(); // it may be the sender
}

void LiveThings::releaseFrom(const QString &plugin)
{
    forEachDevice([&](QAbstractThing *device) {
        if (m_records.value(device).origin.plugin == plugin) {
            release(device);
        }
    });
}

void LiveThings::detachFromCloud()
{
    forEachDevice([this](QAbstractThing *device) {
        m_gateway.removeSibling(device);
        emitGone(device);
    });
}

// A plugin deleted its device without mediumGone(). Only the address can still be used.
void LiveThings::deviceDestroyed(const QObject *device)
{
    if (!m_records.contains(device)) {
        return;
    }
    ThingState state;
    state.shortid = m_records.value(device).shortid;
    state.gone = true;
    forget(device);
    emit thingChanged(state);
}

// Nothing when the thing's state() ended it: no record may follow the one that says it is gone.
std::optional<ThingState> LiveThings::recordOf(const QAbstractThing *thing) const
{
    if (isLive(thing)) {
        const ThingState state(thing, true);
        if (isLive(thing)) {
            return state;
        }
    }
    return std::nullopt;
}

void LiveThings::emitFullState(const QAbstractThing *thing)
{
    if (const auto state = recordOf(thing)) {
        emit thingChanged(*state);
    }
}

void LiveThings::emitStateChange(const QAbstractThing *thing, const QJsonObject &state)
{
    ThingState changed(thing, false);
    changed.state = state;
    emit thingChanged(changed);
}

void LiveThings::emitSerialChange(const QAbstractThing *thing, const QString &oldSerial)
{
    ThingState former(thing, false);
    former.shortid =
        thing->type() + QLatin1Char('_') + thing->version() + QLatin1Char('_') + oldSerial;
    if (former.shortid != thing->shortid()) {
        former.gone = true;
        emit thingChanged(former);
    }
    const auto record = m_records.find(thing);
    if (record != m_records.end()) {
        record->shortid = thing->shortid();
    }
    emitFullState(thing);
}

void LiveThings::emitGone(const QAbstractThing *thing)
{
    ThingState state(thing, false);
    state.gone = true;
    emit thingChanged(state);
}
