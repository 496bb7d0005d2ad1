#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include <httplib.h>

#include <thread>

// HTTP on 127.0.0.1, one request for each connection. Start and stop it on the main thread;
// handlers run on the server's own threads, many at once. Add the routes between bind() and run().
//
// Rejects requests that another site's page may have made: those with a foreign Host (DNS
// rebinding), those with a foreign Origin, and a POST that is not JSON.
class WebServer : public httplib::Server
{
public:
    WebServer();
    ~WebServer() override;

    // Port 0: any free one. False, with the reason, when the port is taken.
    [[nodiscard]] bool bind(quint16 port, QString &error);
    quint16 port() const { return m_port; }
    void run();
    // Stops and waits for every handler. A second call does nothing.
    void finish();

    // The decoded value of a query item, or empty. The library's own parameters lack a long query
    // (see Connection).
    static QByteArray queryItem(const httplib::Request &request, const QString &name);
    static void answer(httplib::Response &response, int status, const QJsonObject &object);
    static void fail(httplib::Response &response, int status, const QString &sentence);

private:
    bool process_and_close_socket(socket_t socket) override;
    HandlerResponse checkRequest(const httplib::Request &request,
                                 httplib::Response &response) const;

    quint16 m_port = 0;
    std::thread m_thread;
};
