#pragma once

#include "plugins/lamp/lampbatch.h"

#include <QObject>
#include <QSet>

class LampBoard;

// Between the board and the window, on the lamps' thread: gathers what changed and passes on
// what the user does. Only one batch is ever under way, so a window that cannot keep up, or is
// no more, costs no memory.
class LampFeed : public QObject
{
    Q_OBJECT

public:
    // `board` owns the feed.
    explicit LampFeed(LampBoard &board);

    // For a new window: all there is.
    void start();
    // Told at once, or with whatever else changes until the window asks for more.
    void note(int number);
    void noteCount();

public slots:
    // The window has taken the last batch and wants the next.
    void resume();
    void toggle(int number);
    void setPlugged(int number, bool plugged);

signals:
    void changed(const LampBatch &batch);

private:
    void send();

    LampBoard &m_board;
    QSet<int> m_changed;
    bool m_countChanged = false;
    bool m_underway = false;
};
