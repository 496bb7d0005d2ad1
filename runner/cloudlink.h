#pragma once

#include <QObject>

class GatewayThing;

// When the gateway connects to the cloud, and with which settings. Lives on the runner's thread.
class CloudLink : public QObject
{
    Q_OBJECT

public:
    // `gateway` is borrowed.
    explicit CloudLink(GatewayThing &gateway, QObject *parent = nullptr);

    // Reads report interval and keep-alive from the settings.
    void readSettings();
    // Begins to connect, unless the gateway holds no credentials, is connected with the stored
    // settings already, or may not connect now. `firstrun`: see GatewayThing::connectToCloud().
    void start(bool firstrun);
    // Queues start(), for handlers of signals: start() may run a local event loop.
    void startLater(bool firstrun);
    // Makes the connection anew, whatever its state.
    void restart();
    // Ends the connection in a local event loop, in which no request may connect.
    void end();
    // As end(), for good.
    void shutDown();

    // The local event loop of end() is running.
    bool isEnding() const { return m_ending; }
    bool mayConnect() const { return !m_ending && !m_shutDown; }

private:
    GatewayThing &m_gateway;
    bool m_ending = false;
    bool m_shutDown = false;
};
