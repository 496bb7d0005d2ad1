#pragma once

#include <QByteArray>
#include <QList>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>

// Passes events to every open page of the portal. Any thread. A slow listener loses its oldest
// events and has to take a new snapshot instead.
class EventHub
{
public:
    struct Listener;
    struct Batch
    {
        bool snapshot = false; // take a new snapshot; there are no events then
        QByteArray events;
        bool closed = false;
    };

    // A new listener, whose first batch asks for a snapshot. Null if there are too many.
    std::shared_ptr<Listener> addListener();
    void remove(const std::shared_ptr<Listener> &listener);
    // Waits for events; an empty batch on a timeout.
    Batch wait(const std::shared_ptr<Listener> &listener, std::chrono::milliseconds time);

    void post(const QByteArray &event);
    // For changes without an event of their own.
    void requestSnapshots();
    // wait() returns at once from now on, and addListener() null.
    void close();

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    QList<std::shared_ptr<Listener>> m_listeners;
    bool m_closed = false;
};
