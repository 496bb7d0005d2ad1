#pragma once

#include "things/thing1_global.h"

#include <QJsonObject>
#include <QObject>
#include <QString>
#include <QVariantHash>

// A device, or the gateway itself, as the application and the cloud see it.
//
// Things live on the gateway's worker thread; every operation is called there and every
// signal is emitted there. The application and the plugins share this class in binary form,
// so the order of its members and virtual operations is fixed: append, never reorder.
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

    // Identity, supplied by the concrete class. The three texts together name one device for
    // good: they are how a device that comes back is recognised. None contains "_" by custom;
    // an id with "#", "+" or NUL is never published.
    virtual QString type() const = 0;
    virtual QString version() const = 0;
    virtual int kind() const = 0;
    virtual QString serial() const = 0;

    // The id that the cloud gave the thing; empty while it is not registered.
    virtual QString regid() const;
    // Takes the registration id out of a cloud id: what follows this thing's own
    // "type_version_serial_". An id of another thing changes nothing.
    virtual void setRegidFromCid(const QString &cid);

    // The user's name for the device.
    virtual QString alias() const;
    // Stores the alias, an empty one too, and emits nameChanged() when it differs.
    virtual void setAlias(const QString &a);
    // As setAlias(), but an empty name is ignored.
    virtual void rename(const QString &a);

    // Only an active thing's state changes go to the cloud. A plugin sets this flag itself, as
    // soon as the device delivers real values; it is false at construction.
    virtual bool isActive() const;
    virtual void setActive(bool on);

    virtual bool matches(const QString &type, const QString &version, const QString &serial) const;
    // True when `id` begins with "type_version_serial". A bare prefix test: the id of serial
    // "ABCD" is owned by serial "ABC" as well. To look for the thing of an id is ThingIndex's work,
    // which weighs all things.
    virtual bool ownsCloudid(const QString &id) const;

    // The values of the device type's settings, by name; stored values over the defaults of the
    // plugin's description. Called whenever they were applied. Values come from a file that
    // users can edit: check ranges before use.
    virtual void setSettings(const QVariantHash &settings);

    // The whole current state. An empty object means that there is nothing to report.
    virtual QJsonObject state() const = 0;
    // Applies what the cloud asked for, as far as it makes sense for the device. True when the
    // state changed by it: the gateway then publishes and shows the new state, and the thing need
    // not emit stateChanged(). The content comes from outside: check every member.
    virtual bool applyUpdate(const QJsonObject &update);
    // A publication of this thing's state was handed to the cloud.
    virtual void statePublished();

    // "type_version_serial": the key of the device pool.
    QString shortid() const;
    // The short id, followed by "_" and the registration id when there is one: the name under
    // which the thing talks to the cloud.
    QString cloudid() const;
    void setRegid(const QString &regid);

signals:
    // The transport to the device has gone. The application forgets the thing and deletes it
    // later; a device that comes back is a new thing.
    void mediumGone();
    void nameChanged(const QString &alias);
    void stateChanged(const QJsonObject &state);
    void serialChanged(const QString &old, const QString &current);

private:
    QString m_regid;
    QString m_alias;
    bool m_active;
};
