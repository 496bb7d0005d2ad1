#include "tools/sandbox/webserver.h"

#include "tools/sandbox/connection.h"
#include "tools/sandbox/log.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QLocale>
#include <QUrl>
#include <QUrlQuery>

#include <fcntl.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>

namespace {

// More than all waiting gateways (40) and open pages (16) together, each of which occupies one.
constexpr size_t threads = 64;
constexpr size_t maxBodySize = 64 << 10;

} // namespace

WebServer::WebServer()
{
    new_task_queue = [] { return new httplib::ThreadPool(threads); };
    // Not the library's SO_REUSEPORT: two sandboxes would share a port without an error.
    set_socket_options([](socket_t socket) {
        const int yes = 1;
        ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        ::fcntl(socket, F_SETFD, FD_CLOEXEC);
    });
    set_tcp_nodelay(true);
    set_payload_max_length(maxBodySize);
    set_pre_routing_handler([this](const httplib::Request &request, httplib::Response &response) {
        response.set_header("Date", QLocale::c()
                                        .toString(QDateTime::currentDateTimeUtc(),
                                                  QStringLiteral("ddd, dd MMM yyyy hh:mm:ss 'GMT'"))
                                        .toStdString());
        return checkRequest(request, response);
    });
    set_error_handler([](const httplib::Request &, httplib::Response &response) {
        if (response.body.empty()) {
            fail(response, response.status,
                 response.status == 404 ? QStringLiteral("There is nothing here.")
                                        : QStringLiteral("The request cannot be understood."));
        }
    });
    set_exception_handler(
        [](const httplib::Request &, httplib::Response &response, const std::exception_ptr &) {
            qCWarning(lcSandbox) << "A handler of a request threw an exception";
            fail(response, 500, QStringLiteral("The sandbox failed."));
        });
}

WebServer::~WebServer()
{
    finish();
}

bool WebServer::bind(quint16 port, QString &error)
{
    const int bound =
        port == 0 ? bind_to_any_port("127.0.0.1") : (bind_to_port("127.0.0.1", port) ? port : -1);
    if (bound <= 0) {
        error = QStringLiteral("Cannot listen on port %1 of 127.0.0.1: it is taken").arg(port);
        return false;
    }
    m_port = static_cast<quint16>(bound);
    // The library's queue of five connections is too short for a browser and a few gateways.
    ::listen(svr_sock_, 128);
    return true;
}

void WebServer::run()
{
    m_thread = std::thread([this] { listen_after_bind(); });
    // stop() has no effect before the server runs.
    while (!is_running()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

void WebServer::finish()
{
    if (m_thread.joinable()) {
        stop();
        m_thread.join();
    }
}

bool WebServer::process_and_close_socket(socket_t socket)
{
    Connection connection(socket);
    if (!connection.readRequestLine()) {
        return false;
    }
    bool closed = false;
    return process_request(connection, true, closed, [&connection](httplib::Request &request) {
        request.target = connection.target();
    });
}

WebServer::HandlerResponse WebServer::checkRequest(const httplib::Request &request,
                                                   httplib::Response &response) const
{
    const std::string port = std::to_string(m_port);
    const std::array<std::string, 2> own{"127.0.0.1:" + port, "localhost:" + port};
    const auto isOwn = [&own](std::string text, const std::string &prefix) {
        std::transform(text.begin(), text.end(), text.begin(), ::tolower);
        return std::any_of(own.begin(), own.end(),
                           [&](const std::string &name) { return text == prefix + name; });
    };
    const auto refuse = [&response](int status, const char *sentence) {
        fail(response, status, QString::fromLatin1(sentence));
        return HandlerResponse::Handled;
    };
    if (request.get_header_value_count("Host") != 1 ||
        !isOwn(request.get_header_value("Host"), "")) {
        return refuse(403, "This is not the server that the request names.");
    }
    if (request.has_header("Origin") && !isOwn(request.get_header_value("Origin"), "http://")) {
        return refuse(403, "Other sites may not use the sandbox.");
    }
    if (request.method == "GET" || request.method == "HEAD") {
        return HandlerResponse::Unhandled;
    }
    if (request.method != "POST") {
        return refuse(405, "Only GET and POST are known here.");
    }
    const std::string type = request.get_header_value("Content-Type");
    if (type.substr(0, type.find(';')) != "application/json") {
        return refuse(415, "The request must be application/json.");
    }
    // The library limits a body only if its length is announced and it is not compressed.
    if (!request.has_header("Content-Length") || request.has_header("Transfer-Encoding") ||
        request.has_header("Content-Encoding")) {
        return refuse(411, "The request must be plain and tell its length.");
    }
    return HandlerResponse::Unhandled;
}

QByteArray WebServer::queryItem(const httplib::Request &request, const QString &name)
{
    const size_t mark = request.target.find('?');
    if (mark == std::string::npos) {
        return {};
    }
    const QUrlQuery query(QString::fromLatin1(request.target.data() + mark + 1,
                                              static_cast<int>(request.target.size() - mark - 1)));
    return query.queryItemValue(name, QUrl::FullyDecoded).toUtf8();
}

void WebServer::answer(httplib::Response &response, int status, const QJsonObject &object)
{
    response.status = status;
    response.set_header("Cache-Control", "no-store");
    response.set_header("X-Content-Type-Options", "nosniff");
    response.set_content(QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString(),
                         "application/json");
}

void WebServer::fail(httplib::Response &response, int status, const QString &sentence)
{
    answer(response, status, {{"error", sentence}});
}
