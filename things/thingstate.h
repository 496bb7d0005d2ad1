#pragma once

#include "things/thing1_global.h"

#include <QJsonObject>
#include <QList>
#include <QMetaType>
#include <QString>

class QAbstractThing;

// Identity and state of one thing, copied, for other threads.
struct THING1_EXPORT ThingState
{
    ThingState() = default;
    // Call on the thing's thread.
    ThingState(const QAbstractThing *thing, bool withState);

    QString alias;
    QString shortid;
    QString regid;
    bool gone = false; // the thing was removed
    QJsonObject state;
};

using ThingStateList = QList<ThingState>;

Q_DECLARE_METATYPE(ThingState)
Q_DECLARE_METATYPE(ThingStateList)
