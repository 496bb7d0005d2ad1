#pragma once

#include "things/thing1_global.h"

#include <QJsonObject>
#include <QObject>
#include <QString>
#include <QVariantHash>

// A device, or the gateway itself, as the application and the cloud see it. Lives on the gateway's
// worker thread: every function is called and every signal emitted there.
//
// Plugins derive from this class in binary form: its members and virtual functions are frozen.
// Even one that is appended moves the members and functions of every plugin that was built before.
// Extend by optional interfaces; see AbstractThingType.
class THING1_EXPORT QAbstractThing : public QObject
{
    Q_OBJECT

public:
    explicit QAbstractThing(QObject *parent = nullptr)
        : QObject(parent)
        , m_active(false)
    {
    }
    ~QAbstractThing() override;

    // Type, version and serial together identify a device permanently: by them a device that
    // comes back is recognised. By convention none contains "_". A thing with "#", "+" or NUL in
    // one of them is never published.

    // The device type: the "name" of the plugin's description, by which its settings are stored.
    virtual QString type() const = 0;
    // The version of the device's identity: a fixed text, commonly "1". A new one makes the device
    // another one for pool and cloud; so it changes only if the meaning of the serial changes.
    virtual QString version() const = 0;
    // 1 for a device, 2 for the gateway. The application does not ask.
    virtual int kind() const = 0;
    // What tells this device from others of its type, also after a restart and at another port.
    virtual QString serial() const = 0;

    // The id that the cloud gave the thing; empty while it is not registered.
    virtual QString regid() const;
    // Sets the registration id from a cloud id: the part after this thing's own
    // "type_version_serial_". Ignores the id of another thing.
    virtual void setRegidFromCid(const QString &cid);

    // The user's name for the device.
    virtual QString alias() const;
    // Stores the alias, also an empty one, and emits nameChanged() if it differs.
    virtual void setAlias(const QString &a);
    // As setAlias(), but an empty name is ignored.
    virtual void rename(const QString &a);

    // Only the state changes of active things are published. The plugin activates a thing as soon
    // as its device delivers real values.
    virtual bool isActive() const;
    virtual void setActive(bool on);

    virtual bool matches(const QString &type, const QString &version, const QString &serial) const;
    // True if `id` begins with "type_version_serial": serial "ABC" also owns the ids of serial
    // "ABCD". ThingIndex finds the best match among all things.
    virtual bool ownsCloudid(const QString &id) const;

    // Called with the settings of the device type, by name, whenever they were applied; defaults
    // of the plugin's description stand in for values that are not stored. Check ranges before
    // use: users can edit the file.
    virtual void setSettings(const QVariantHash &settings);

    // The complete current state. An empty object is not published.
    virtual QJsonObject state() const = 0;
    // Applies an update from the cloud, as far as the device supports it. True if the state
    // changed: the gateway then publishes and shows the new state, and the thing need not emit
    // stateChanged(). Check every member: the content is untrusted.
    virtual bool applyUpdate(const QJsonObject &update);
    // Called when a state of this thing was sent to the cloud.
    virtual void statePublished();

    // "type_version_serial": the key of the device pool.
    QString shortid() const;
    // The short id, followed by "_" and the registration id if there is one: the thing's id at the
    // cloud.
    QString cloudid() const;
    void setRegid(const QString &regid);

signals:
    // The connection to the device was lost. The application removes the thing and deletes it
    // later; a device that comes back becomes a new thing.
    void mediumGone();
    void nameChanged(const QString &alias);
    void stateChanged(const QJsonObject &state);
    void serialChanged(const QString &old, const QString &current);

private:
    QString m_regid;
    QString m_alias;
    bool m_active;
};
