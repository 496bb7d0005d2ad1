#pragma once

#include <QByteArray>
#include <QList>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>

// Hands the portal's events to every page that listens. Any thread. A listener that is too slow
// loses its oldest events and is told to take a new snapshot instead, so its view heals.
class EventHub
{
public:
    struct Listener;
    struct Batch
    {
        bool snapshot = false; // take a new snapshot; it covers what was waiting
        QByteArray events;
        bool closed = false;
    };

    // A new listener, whose first batch asks for a snapshot. Null when there are too many.
    std::shared_ptr<Listener> listen();
    void leave(const std::shared_ptr<Listener> &listener);
    // All that waits for the listener; an empty batch when nothing came in time.
    Batch wait(const std::shared_ptr<Listener> &listener, std::chrono::milliseconds time);

    void post(const QByteArray &event);
    // Something changed that single events do not tell.
    void requestSnapshots();
    // Ends every listener, those to come too.
    void close();

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    QList<std::shared_ptr<Listener>> m_listeners;
    bool m_closed = false;
};
