#pragma once

#include "plugins/lamp/lampbatch.h"
#include "plugins/lamp/lampsettings.h"

#include <QList>
#include <QMultiHash>
#include <QPointer>
#include <QSet>

#include <memory>

class LampFeed;
class LampModel;
class LampThing;
class QObject;
class QTimer;

// All lamps, the timer that makes them blink, and the worker's side of their common window. Lives
// on the lamps' thread.
class LampBoard
{
public:
    LampBoard();
    ~LampBoard();

    void add(LampThing *lamp);
    // May be called while the board calls a lamp.
    void remove(LampThing *lamp);
    // The interval at which all lamps toggle; 0: never. The same value again changes nothing.
    void setBlink(int seconds);
    // Detaches the lamps with a number above `count`; they no longer count as unplugged. The same
    // value again changes nothing.
    void setCount(int count);
    int count() const;

    // The object that makes the lamps' window, for AbstractThingType::create(); the caller owns it.
    // Null until the previous panel's window is deleted, or the panel itself without a window.
    QObject *createPanel();
    // Something that the window shows of this lamp has changed.
    void markChanged(int number);
    LampRecord record(int number) const;
    // Of the lamps that are attached or unplugged.
    QSet<int> numbers() const;

    bool isUnplugged(int number) const;
    // Unplugging detaches the lamp; once plugged in again, it appears with the next scan. The same
    // value again, or a number above count(), changes nothing.
    void setPlugged(int number, bool plugged);

private:
    template <typename Action>
    void forEachLamp(Action action);
    void updateBlinkTimer();

    QMultiHash<int, LampThing *> m_lamps; // by number
    QSet<int> m_unplugged;
    int m_count = LampSettings().count;
    int m_blink = 0;
    std::unique_ptr<QTimer> m_timer;
    std::unique_ptr<LampFeed> m_feed;
    // Of the window, whose thread may delete it at any time: only compared with null, which
    // QPointer does atomically.
    QPointer<LampModel> m_model;
};
