#include "tools/sandbox/portal.h"

#include "tools/sandbox/eventstream.h"

#include <QCryptographicHash>
#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>

namespace {

// The hash by which a content security policy (CSP Level 3, section 2.3.1) names an inline block.
QByteArray blockHash(const QByteArray &page, const QByteArray &tag)
{
    const int from = page.indexOf('<' + tag + '>') + tag.size() + 2;
    const int to = page.indexOf("</" + tag + '>', from);
    return "'sha256-" +
           QCryptographicHash::hash(page.mid(from, to - from), QCryptographicHash::Sha256)
               .toBase64() +
           "'";
}

QJsonObject bodyOf(const httplib::Request &request)
{
    return QJsonDocument::fromJson(QByteArray::fromStdString(request.body)).object();
}

} // namespace

Portal::Portal(Fleet &fleet, Registrar &registrar, EventHub &hub, SendUpdate sendUpdate)
    : m_fleet(fleet)
    , m_registrar(registrar)
    , m_hub(hub)
    , m_sendUpdate(std::move(sendUpdate))
{
    QFile file(":/sandbox/portal.html");
    if (file.open(QIODevice::ReadOnly)) {
        m_page = file.readAll();
    }
    // Allows the page's own script and style only, so that no device's name can add code.
    m_policy = ("default-src 'none'; connect-src 'self'; img-src data:; base-uri 'none'; "
                "form-action 'none'; frame-ancestors 'none'; script-src " +
                blockHash(m_page, "script") + "; style-src " + blockHash(m_page, "style"))
                   .toStdString();
}

void Portal::serve(WebServer &server)
{
    using httplib::Request;
    using httplib::Response;
    server.Get("/", [](const Request &, Response &response) { response.set_redirect("/things"); });
    server.Get("/things", [this](const Request &, Response &response) { page(response); });
    server.Get("/iot/register", [this](const Request &request, Response &response) {
        registration(request, response);
    });
    server.Get("/api/things", [this](const Request &, Response &response) {
        response.set_header("Cache-Control", "no-store");
        response.set_content(m_fleet.snapshot().toStdString(), "application/json");
    });
    server.Get("/api/events", [this](const Request &, Response &response) { events(response); });
    server.Post("/api/code",
                [this](const Request &request, Response &response) { code(request, response); });
    server.Post("/api/update",
                [this](const Request &request, Response &response) { update(request, response); });
}

void Portal::page(httplib::Response &response) const
{
    response.set_header("Content-Security-Policy", m_policy);
    response.set_header("Cache-Control", "no-store");
    response.set_header("Referrer-Policy", "no-referrer");
    response.set_header("X-Content-Type-Options", "nosniff");
    response.set_content(m_page.toStdString(), "text/html; charset=utf-8");
}

void Portal::registration(const httplib::Request &request, httplib::Response &response)
{
    const auto exchange = m_registrar.begin(WebServer::queryItem(request, "doc"));
    startStream(
        response, [this, exchange] { return m_registrar.next(exchange); },
        [this, exchange] { m_registrar.end(exchange); });
}

void Portal::code(const httplib::Request &request, httplib::Response &response)
{
    static const QRegularExpression form("^[0-9]{6}$");
    const QString code = bodyOf(request).value("code").toString();
    if (!form.match(code).hasMatch()) {
        WebServer::fail(response, 400, QStringLiteral("A code has six digits."));
        return;
    }
    const Registrar::Verdict verdict = m_registrar.enter(code);
    switch (verdict.answer) {
    case Registrar::Answer::Accepted:
        m_hub.requestSnapshots();
        WebServer::answer(response, 200, {{"ok", true}, {"id", verdict.gateway}});
        break;
    case Registrar::Answer::UnknownCode:
        WebServer::fail(response, 404, verdict.sentence);
        break;
    case Registrar::Answer::ClosedCode:
        WebServer::fail(response, 410, verdict.sentence);
        break;
    case Registrar::Answer::Failed:
        WebServer::fail(response, 500, verdict.sentence);
        break;
    }
}

void Portal::update(const httplib::Request &request, httplib::Response &response)
{
    const QJsonObject body = bodyOf(request);
    const QString id = body.value("id").toString();
    const QJsonValue update = body.value("update");
    if (id.isEmpty() || !update.isObject()) {
        WebServer::fail(response, 400, QStringLiteral("An update is one JSON object."));
        return;
    }
    // The registrar accepts no id with a wildcard or a control character, but users can edit the
    // account file.
    const auto thing = m_fleet.find(id);
    if (!thing || id.contains('+') || id.contains('#') || id.contains(QChar(0))) {
        WebServer::fail(response, 404, QStringLiteral("There is no such device."));
        return;
    }
    if (thing->isGateway) {
        WebServer::fail(response, 400, QStringLiteral("A gateway itself takes no updates."));
        return;
    }
    if (!m_sendUpdate(id, QJsonDocument(update.toObject()).toJson(QJsonDocument::Compact))) {
        WebServer::fail(response, 503, QStringLiteral("The broker cannot be reached now."));
        return;
    }
    WebServer::answer(response, 200, {{"ok", true}, {"connected", thing->isConnected}});
}

void Portal::events(httplib::Response &response)
{
    const auto listener = m_hub.addListener();
    if (!listener) {
        WebServer::fail(response, 503, QStringLiteral("Too many pages are open."));
        return;
    }
    startStream(
        response,
        [this, listener] {
            const EventHub::Batch batch = m_hub.wait(listener, streamTick);
            return StreamPiece{batch.snapshot ? streamEvent("fleet", m_fleet.snapshot())
                                              : batch.events,
                               batch.closed};
        },
        [this, listener] { m_hub.remove(listener); });
}
