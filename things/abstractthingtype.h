#pragma once

#include <QHash>
#include <QString>
#include <QVariant>
#include <QVariantHash>
#include <QtPlugin>

class QAbstractThing;
class QObject;

// A device type: the root object of a plugin implements this interface. All calls come on the
// gateway's worker thread. A plugin is never unloaded.
//
// This class, the two below and QAbstractThing are frozen: a plugin that was built against them
// works with every later gateway. What is new comes as a further optional interface with an id of
// its own, and a gateway asks a plugin for it.
//
// The plugin describes itself in JSON. In it, "name" is what type() of its things returns;
// "version" is the version of the plugin, an integer that the application only shows; "type" is
// "thing"; "sdk" is the kit that the plugin needs, AbstractThingType_sdk at the time it was made
// (1 if absent). A gateway does not load a plugin that needs a newer kit than its own.
class AbstractThingType
{
public:
    virtual ~AbstractThingType() = default;

    // The devices of this type that are attached now: device key to descriptor. Only the plugin
    // interprets them; create() gets them unchanged.
    virtual QHash<QString, QVariant> discover() = 0;

    // Returns a thing for one discovered device, owned by the caller; null if it cannot be created
    // now (the next scan tries again). `settings` as in QAbstractThing::setSettings().
    // `ui` may receive an object for the user interface: a plain QObject without parent that
    // lives on the calling thread and has an invokable `QWidget *createWidget(QWidget *parent)`.
    // The caller moves it to the interface thread, where the widget is created.
    virtual QAbstractThing *create(const QString &key, const QVariant &descriptor,
                                   const QVariantHash &settings, QObject **ui) = 0;

    // True if `thing` already represents the device of `key`. `thing` may be of another type.
    virtual bool claims(const QString &key, const QAbstractThing *thing) = 0;
};

// Optional interface of a plugin whose discovery depends on its settings.
class ConfigurableThingType
{
public:
    virtual ~ConfigurableThingType() = default;
    // Called before every discover(), and whenever settings were applied, with the settings as
    // create() receives them. Then "enabled" may be false: nothing of the type may stay open.
    virtual void configure(const QVariantHash &settings) = 0;
};

// Optional interface for types with thousands of devices: the scan then need not call claims() for
// each pair of key and thing. claims(key, thing) must be true exactly if deviceKey(thing) equals
// `key`.
class KeyedThingType
{
public:
    virtual ~KeyedThingType() = default;
    // The key of the device that `thing` represents; empty for a thing of another type.
    virtual QString deviceKey(const QAbstractThing *thing) const = 0;
};

// Counted up when the kit grows by an interface that plugins may rely on.
#define AbstractThingType_sdk 1

#define AbstractThingType_iid "pro.nimbra.kvg_gate.AbstractThingType/1.0"
#define ConfigurableThingType_iid "pro.nimbra.kvg_gate.ConfigurableThingType/1.0"
#define KeyedThingType_iid "pro.nimbra.kvg_gate.KeyedThingType/1.0"
Q_DECLARE_INTERFACE(AbstractThingType, AbstractThingType_iid)
Q_DECLARE_INTERFACE(ConfigurableThingType, ConfigurableThingType_iid)
Q_DECLARE_INTERFACE(KeyedThingType, KeyedThingType_iid)
