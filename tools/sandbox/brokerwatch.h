#pragma once

#include "tools/sandbox/eventhub.h"
#include "tools/sandbox/fleet.h"

#include <QByteArray>
#include <QString>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

struct mosquitto;
struct mosquitto_message;

// The sandbox's own client of the broker: keeps every state that is published, tells the portal
// of it, and publishes updates. Made, started and stopped by the main thread; what the broker sends
// is handled on a thread of its own; send() from any thread. Connects again by itself.
class BrokerWatch
{
public:
    BrokerWatch(Fleet &fleet, EventHub &hub);
    ~BrokerWatch();
    BrokerWatch(const BrokerWatch &) = delete;
    BrokerWatch &operator=(const BrokerWatch &) = delete;

    struct Link
    {
        quint16 port = 0;
        QString authority;
        QString certificate;
        QString key;
    };
    // Connects and waits until every state will be seen.
    bool start(const Link &link, QString &error);
    // Ends the thread. A second call does nothing.
    void stop();

    // Publishes to the thing's update topic, quality of service 0. False while there is no link.
    bool send(const QString &id, const QByteArray &update);

private:
    void run();
    void connected(int code);
    void setReady(bool on);
    void received(const mosquitto_message &message);

    Fleet &m_fleet;
    EventHub &m_hub;
    mosquitto *m_client;
    std::thread m_thread;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_ready = false;
    bool m_stopping = false;
};
