#pragma once

#include "plugins/lamp/lampbatch.h"

#include <QObject>
#include <QSet>

class LampBoard;

// Gathers the board's changes for the window; lives on the lamps' thread. It sends the next batch
// only after the window has asked for it, so a slow or deleted window costs no memory.
class LampFeed : public QObject
{
    Q_OBJECT

public:
    // `board` owns the feed.
    explicit LampFeed(LampBoard &board);

    // For a new window.
    void sendAll();
    // The change goes out at once, or with the next batch.
    void markChanged(int number);
    void markCountChanged();

public slots:
    void sendNext(); // the window has shown the last batch

signals:
    void batchReady(const LampBatch &batch);

private:
    void send();

    LampBoard &m_board;
    QSet<int> m_changed;
    bool m_countChanged = false;
    bool m_batchPending = false;
};
