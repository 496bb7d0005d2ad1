#pragma once

#include "plugins/lamp/lampbatch.h"
#include "plugins/lamp/lampsettings.h"

#include <QList>
#include <QMultiHash>
#include <QSet>

#include <memory>

class LampFeed;
class LampThing;
class QObject;
class QTimer;

// All lamps there are, the one timer that makes them blink, and the worker's end of their one
// window. On the lamps' thread.
class LampBoard
{
public:
    LampBoard();
    ~LampBoard();

    void add(LampThing *lamp);
    // Also from inside whatever the board does to the lamps.
    void remove(LampThing *lamp);
    // Every that many seconds all lamps toggle; 0 ends it. The same value again changes nothing.
    void setBlink(int seconds);
    // Ends the lamps with a number above `count` and forgets that such were unplugged. The same
    // value again changes nothing.
    void setCount(int count);
    int count() const;

    // The object that makes the lamps' window, owned by the caller (see
    // AbstractThingType::create()); null while there is one already. It counts from now on until
    // its window was deleted, or until the object went without having made one.
    QObject *openPanel();
    // Something that the window shows of this lamp has changed.
    void note(int number);
    LampRecord record(int number) const;
    // The numbers that record() has anything to tell about.
    QSet<int> numbers() const;

    bool isUnplugged(int number) const;
    // Unplugging ends the lamp; one that is plugged in again waits for the next scan. The same
    // value again, or a number that there is no lamp for, changes nothing.
    void setPlugged(int number, bool plugged);
    // Presses the switch at the lamp, if it is attached.
    void toggle(int number);

private:
    template <typename Action>
    void forEach(Action action);
    void arm();

    QMultiHash<int, LampThing *> m_lamps; // by number
    QSet<int> m_unplugged;
    int m_count = LampSettings().count;
    int m_blink = 0;
    std::unique_ptr<QTimer> m_timer;
    std::unique_ptr<LampFeed> m_feed;
    std::weak_ptr<const bool> m_window;
};
