#include "tools/sandbox/eventhub.h"

namespace {
constexpr int maxListeners = 16; // each occupies a thread of the server
constexpr std::size_t maxEvents = 2000;
constexpr int maxBytes = 4 << 20;
} // namespace

struct EventHub::Listener
{
    std::deque<QByteArray> events;
    int bytes = 0;
    bool snapshot = true;
};

std::shared_ptr<EventHub::Listener> EventHub::addListener()
{
    const std::lock_guard lock(m_mutex);
    if (m_closed || m_listeners.size() >= maxListeners) {
        return nullptr;
    }
    auto listener = std::make_shared<Listener>();
    m_listeners.append(listener);
    return listener;
}

void EventHub::remove(const std::shared_ptr<Listener> &listener)
{
    const std::lock_guard lock(m_mutex);
    m_listeners.removeAll(listener);
}

EventHub::Batch EventHub::wait(const std::shared_ptr<Listener> &listener,
                               std::chrono::milliseconds time)
{
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, time,
                       [&] { return m_closed || listener->snapshot || !listener->events.empty(); });
    Batch batch;
    batch.closed = m_closed;
    batch.snapshot = listener->snapshot;
    // The snapshot that follows is newer than these events.
    if (!listener->snapshot) {
        for (const QByteArray &event : listener->events) {
            batch.events += event;
        }
    }
    listener->events.clear();
    listener->bytes = 0;
    listener->snapshot = false;
    return batch;
}

void EventHub::post(const QByteArray &event)
{
    const std::lock_guard lock(m_mutex);
    for (const auto &listener : qAsConst(m_listeners)) {
        listener->events.push_back(event);
        listener->bytes += event.size();
        while (!listener->events.empty() &&
               (listener->events.size() > maxEvents || listener->bytes > maxBytes)) {
            listener->bytes -= listener->events.front().size();
            listener->events.pop_front();
            listener->snapshot = true;
        }
    }
    m_changed.notify_all();
}

void EventHub::requestSnapshots()
{
    const std::lock_guard lock(m_mutex);
    for (const auto &listener : qAsConst(m_listeners)) {
        listener->snapshot = true;
    }
    m_changed.notify_all();
}

void EventHub::close()
{
    const std::lock_guard lock(m_mutex);
    m_closed = true;
    m_changed.notify_all();
}
