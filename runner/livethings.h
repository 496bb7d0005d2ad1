#pragma once

#include "settings/devicepool.h"
#include "things/gatewaything.h"
#include "things/thingstate.h"

#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>

#include <optional>

// The gateway and the devices that are attached at the moment: their records, where they came from,
// and what the device pool has for them. Lives on the runner's thread and owns the things.
//
// Things are plugins' code: state(), claims(), setAlias(), setSettings() and applyUpdate() may end
// any of them. Before such calls lists are copied, and after each isLive() is asked again.
class LiveThings : public QObject
{
    Q_OBJECT

public:
    // Where a device came from.
    struct Origin
    {
        QString plugin;
        QString key; // the plugin's own, as discover() gave it
    };

    explicit LiveThings(QObject *parent = nullptr);
    // Emits no signals.
    ~LiveThings() override;

    GatewayThing &gateway() { return m_gateway; }
    const GatewayThing &gateway() const { return m_gateway; }
    // In the order of adoption.
    const QList<QAbstractThing *> &devices() const { return m_devices; }
    // The gateway first.
    QList<QAbstractThing *> all();
    // Calls `visit(QAbstractThing *)` for each device, unless an earlier call has ended it.
    template <typename Visitor>
    void forEachDevice(Visitor visit)
    {
        const QList<QAbstractThing *> devices = m_devices;
        for (QAbstractThing *const device : devices) {
            if (isLive(device)) {
                visit(device);
            }
        }
    }
    bool isLive(const QObject *thing) const;
    // The live device that was created for the plugin's key; else null.
    QAbstractThing *createdFor(const QString &plugin, const QString &key) const;
    ThingStateList records();
    // Short ids of the things that have no name.
    QStringList unnamed();
    bool areAllRegistered() const;

    // Takes a new device over with the name and registration id that the pool has for it. One that
    // the pool does not know keeps the name that its plugin gave it, unless another one has it.
    void adopt(QAbstractThing *device, const Origin &origin, const DevicePool &pool);
    // Reports the device's end and deletes it later. Nothing happens when it is not live.
    void release(QAbstractThing *device);
    void releaseFrom(const QString &plugin);
    // Takes all devices from the cloud and reports them gone; they stay live.
    void detachFromCloud();

    // Gives the gateway, which has no registration id, that of the pool; the name as well, unless
    // it has one.
    void restoreGateway(const DevicePool &pool);
    // All things go on under the registration ids of the stored pool; their names stay. States that
    // wait for the cloud under other ids are dropped, and all of them when the gateway's id is not
    // `oldGatewayId` any more. restoreNames() has to follow: it reports the things.
    void restoreRegistrations(const QString &oldGatewayId);
    // Gives all things the names of the stored pool and reports them. A gateway that is not
    // registered keeps the name that it has.
    void restoreNames();
    // Takes the registration ids from the devices whose cloud ids are not among these.
    void keepRegistered(const QSet<QString> &cloudids);
    // Takes the registration from gateway and devices, and drops the gateway's credentials.
    void voidRegistrations();
    // Writes all things, and absent devices that the result names, into the pool, and reports what
    // is registered.
    void storeRegistration(const QJsonObject &result);

    // `sid`: the short id, or an id that begins with it. Writes the pool and reports the thing.
    // Returns the user's sentence on a failure; empty on success.
    QString rename(const QString &sid, const QString &alias);

    // Does nothing for a thing that is not live.
    void emitFullState(const QAbstractThing *thing);
    void emitStateChange(const QAbstractThing *thing, const QJsonObject &state);
    // Reports the old serial as gone, then the thing under its present serial.
    void emitSerialChange(const QAbstractThing *thing, const QString &oldSerial);

signals:
    // A thing appeared, changed or (ThingState::gone) went away.
    void thingChanged(const ThingState &thing);

private:
    struct Record
    {
        Origin origin;
        QString shortid; // for the report of a device that was deleted
    };
    enum PoolPart { Registration = 1, Name = 2 };

    void listenTo(QAbstractThing *thing);
    // What the pool has for a thing.
    std::optional<PoolEntry> entryOf(const QAbstractThing *thing, const DevicePool &pool) const;
    bool isAliasTaken(const QAbstractThing *thing, const DevicePool &pool);
    void applyPoolEntry(QAbstractThing *thing, const PoolEntry &entry, int parts);
    void addIfRegistered(QAbstractThing *device);
    void writePool(const QList<QAbstractThing *> &things, const QJsonObject &registrations = {});
    std::optional<ThingState> recordOf(const QAbstractThing *thing) const;
    void emitGone(const QAbstractThing *thing);
    void forget(const QObject *device);
    void deviceDestroyed(const QObject *device);

    GatewayThing m_gateway;
    QList<QAbstractThing *> m_devices;
    QHash<const QObject *, Record> m_records; // of the live devices
    QHash<QString, QHash<QString, QAbstractThing *>> m_deviceByPluginKey;
};
