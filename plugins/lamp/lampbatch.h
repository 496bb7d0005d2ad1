#pragma once

#include <QMetaType>
#include <QVector>

// One row of the lamps' window.
struct LampRecord
{
    enum Presence : quint8 {
        Attached,
        Unplugged,
        AwaitsScan // has no thing yet; the next scan creates it
    };

    int number = 0; // from 1
    // Valid for an attached lamp only:
    quint32 color = 0xffffff; // 0xrrggbb
    qint8 brightness = 0;     // 0 to 100
    bool on = false;
    Presence presence = AwaitsScan;
};

// An update of the lamps' window: the number of lamps, and those that changed.
struct LampBatch
{
    int count = 0;
    QVector<LampRecord> lamps;
};
Q_DECLARE_METATYPE(LampBatch)
