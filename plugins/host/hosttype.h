#pragma once

#include "things/abstractthingtype.h"

#include <QObject>

// The device type "host": exactly one device, this computer.
class HostType : public QObject, public AbstractThingType
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID AbstractThingType_iid FILE "host.json")
    Q_INTERFACES(AbstractThingType)

public:
    QHash<QString, QVariant> discover() override;
    QAbstractThing *create(const QString &key, const QVariant &descriptor,
                           const QVariantHash &settings, QObject **ui) override;
    bool claims(const QString &key, const QAbstractThing *thing) override;
};
