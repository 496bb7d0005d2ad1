#pragma once

#include "tools/sandbox/eventhub.h"
#include "tools/sandbox/fleet.h"
#include "tools/sandbox/registrar.h"
#include "tools/sandbox/webserver.h"

#include <QByteArray>

#include <functional>

// The user's web page, its JSON interface, and the registrar's route. The handlers run on the
// server's threads. The arguments are borrowed and must outlive the server.
class Portal
{
public:
    // Publishes an update for the thing. False while the broker is disconnected.
    using SendUpdate = std::function<bool(const QString &id, const QByteArray &update)>;

    Portal(Fleet &fleet, Registrar &registrar, EventHub &hub, SendUpdate sendUpdate);

    // Adds the routes. The portal must outlive the server.
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
