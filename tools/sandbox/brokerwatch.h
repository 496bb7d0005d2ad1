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

// The sandbox's own MQTT client: records every published state, reports it to the portal, and
// publishes updates. Create, start and stop it on the main thread; it handles messages on its own
// thread; call send() on any thread. It reconnects by itself.
class BrokerWatch
{
public:
    BrokerWatch(Fleet &fleet, EventHub &hub);
    ~BrokerWatch();
    BrokerWatch(const BrokerWatch &) = delete;
    BrokerWatch &operator=(const BrokerWatch &) = delete;

    struct Endpoint
    {
        quint16 port = 0;
        QString authority;
        QString certificate;
        QString key;
    };
    // Connects and waits for the subscription. False, with the reason, on failure.
    [[nodiscard]] bool start(const Endpoint &endpoint, QString &error);
    // Ends the thread. A second call does nothing.
    void stop();

    // Publishes to the thing's update topic with QoS 0. False while disconnected.
    [[nodiscard]] bool send(const QString &id, const QByteArray &update);

private:
    void run();
    void subscribe(int code);
    void setReady(bool on);
    void handleMessage(const mosquitto_message &message);

    Fleet &m_fleet;
    EventHub &m_hub;
    mosquitto *m_client;
    std::thread m_thread;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_ready = false; // connected and subscribed
    bool m_stopping = false;
};
