#pragma once

#include <QMetaType>
#include <QVector>

// What the lamps' window shows of one lamp.
struct LampRecord
{
    enum Presence : quint8 {
        Attached,
        Unplugged,
        Awaited // no thing stands for it, the next scan makes one
    };

    int number = 0;           // from 1
    quint32 color = 0xffffff; // 0xrrggbb; this and the others only of an attached lamp
    qint8 brightness = 0;     // 0 to 100
    bool on = false;
    Presence presence = Awaited;
};

// News for the lamps' window: how many lamps there are now, and those that changed.
struct LampBatch
{
    int count = 0;
    QVector<LampRecord> lamps;
};
Q_DECLARE_METATYPE(LampBatch)
