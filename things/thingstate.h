#pragma once

#include "things/thing1_global.h"

#include <QJsonObject>
#include <QList>
#include <QMetaType>
#include <QString>

class QAbstractThing;

// One thing's identity and state as they travel between threads: a value that shares nothing
// with the thing that it was taken from.
struct THING1_EXPORT ThingState
{
    ThingState() = default;
    // Reads the thing's alias, short id and registration id, and its state only if wanted.
    // To be called on the thing's own thread.
    ThingState(const QAbstractThing *thing, bool withState);

    QString alias;
    QString shortid;
    QString regid;
    // Set in the record that reports a thing's end. An empty state does not mean that.
    bool gone = false;
    QJsonObject state;
};

using ThingStateList = QList<ThingState>;

Q_DECLARE_METATYPE(ThingState)
Q_DECLARE_METATYPE(ThingStateList)
