#pragma once

#include <QSet>

#include <memory>

class LampThing;
class QTimer;

// All lamps there are, and the one timer that makes them blink. On the lamps' thread.
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
    // Ends the lamps with a number above `count`.
    void limitTo(int count);

private:
    template <typename Action>
    void forEach(Action action);
    void arm();

    QSet<LampThing *> m_lamps;
    int m_blink = 0;
    std::unique_ptr<QTimer> m_timer;
};
