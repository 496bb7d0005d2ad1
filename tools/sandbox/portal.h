#pragma once

#include "tools/sandbox/eventhub.h"
#include "tools/sandbox/fleet.h"
#include "tools/sandbox/registrar.h"
#include "tools/sandbox/webserver.h"

#include <QByteArray>

#include <functional>

// The user's web page and its JSON interface, and the registrar's one route. Its handlers run on
// the server's threads; everything passed in is borrowed and outlives the server's run.
class Portal
{
public:
    // Sends an update to the thing of the id. False when the broker is not there.
    using SendUpdate = std::function<bool(const QString &id, const QByteArray &update)>;

    Portal(Fleet &fleet, Registrar &registrar, EventHub &hub, SendUpdate sendUpdate);

    // Adds the routes. The portal stays as long as the server runs.
    void serve(WebServer &server);

private:
    void page(httplib::Response &response) const;
    void registration(const httplib::Request &request, httplib::Response &response);
    void code(const httplib::Request &request, httplib::Response &response);
    void update(const httplib::Request &request, httplib::Response &response);
    void events(httplib::Response &response);

    Fleet &m_fleet;
    Registrar &m_registrar;
    EventHub &m_hub;
    SendUpdate m_sendUpdate;
    QByteArray m_page;
    std::string m_policy;
};
