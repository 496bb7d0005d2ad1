#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include <httplib.h>

#include <thread>

// HTTP on 127.0.0.1, one request for each connection. Started and stopped by the main thread;
// handlers run on the server's own threads, many at once. Add the routes between bind() and run().
//
// No request gets to a route that another site's page may have made: one whose Host is not this
// server (a name rebound to 127.0.0.1), whose Origin is foreign, or a POST that is not JSON.
class WebServer : public httplib::Server
{
public:
    WebServer();
    ~WebServer() override;

    // Port 0: any free one. False, with the reason, when the port is taken.
    bool bind(quint16 port, QString &error);
    quint16 port() const { return m_port; }
    void run();
    // Ends the open streams and waits for every handler. A second call does nothing.
    void finish();

    // The value of a query item as it came, decoded; empty when it is not there. Handlers use
    // this rather than the library's parameters, which lack a long query.
    static QByteArray queryItem(const httplib::Request &request, const QString &name);
    static void answer(httplib::Response &response, int status, const QJsonObject &object);
    static void fail(httplib::Response &response, int status, const QString &sentence);

private:
    bool process_and_close_socket(socket_t socket) override;
    HandlerResponse guard(const httplib::Request &request, httplib::Response &response) const;

    quint16 m_port = 0;
    std::thread m_thread;
};
