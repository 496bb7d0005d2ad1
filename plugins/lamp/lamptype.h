#pragma once

#include "plugins/lamp/lampsettings.h"
#include "things/abstractthingtype.h"

#include <QObject>

#include <memory>

class LampBoard;

// The device type "lamp": as many virtual lamps as the settings say. All share one window, which
// create() hands out with the first lamp. A lamp that the user unplugs there stays unplugged until
// it is plugged in again, the number of lamps falls below its own, or the process ends.
class LampType : public QObject,
                 public AbstractThingType,
                 public ConfigurableThingType,
                 public KeyedThingType
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID AbstractThingType_iid FILE "lamp.json")
    Q_INTERFACES(AbstractThingType ConfigurableThingType KeyedThingType)

public:
    LampType();
    ~LampType() override;

    void configure(const QVariantHash &settings) override;
    QHash<QString, QVariant> discover() override;
    QAbstractThing *create(const QString &key, const QVariant &descriptor,
                           const QVariantHash &settings, QObject **ui) override;
    bool claims(const QString &key, const QAbstractThing *thing) override;
    QString deviceKey(const QAbstractThing *thing) const override;

private:
    LampSettings m_settings;
    const std::shared_ptr<LampBoard> m_board; // shared with the lamps
};
