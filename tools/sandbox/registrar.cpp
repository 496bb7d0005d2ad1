#include "tools/sandbox/registrar.h"

#include "tools/sandbox/log.h"

#include <QJsonArray>
#include <QRandomGenerator>

#include <algorithm>

namespace {

constexpr int maxOpenCodes = 40; // each occupies a thread of the server
constexpr int maxClosedCodes = 256;

QByteArray errorEvent(int code, const QString &sentence)
{
    return streamEvent("error", QJsonObject{{"code", code}, {"error", sentence}});
}

} // namespace

struct Registrar::Exchange
{
    using Clock = std::chrono::steady_clock;
    RegistrationDocument document;
    QString code; // empty: refused
    Clock::time_point expiry;
    QByteArray unsent;
    bool entered = false; // the code no longer expires
    bool decided = false; // `unsent` ends the stream
};

Registrar::Registrar(Fleet &fleet, const Authority &authority, const Broker &broker,
                     std::chrono::seconds codeTimeout)
    : m_fleet(fleet)
    , m_authority(authority)
    , m_broker(broker)
    , m_codeTimeout(codeTimeout)
{
}

QString Registrar::unusedCode() const
{
    const auto wasUsed = [this](const QString &code) {
        return std::any_of(m_closedCodes.begin(), m_closedCodes.end(),
                           [&](const auto &spent) { return spent.first == code; });
    };
    QString code;
    do {
        code = QString::number(QRandomGenerator::system()->bounded(100000, 1000000));
    } while (m_openCodes.contains(code) || wasUsed(code));
    return code;
}

std::shared_ptr<Registrar::Exchange> Registrar::begin(const QByteArray &document)
{
    auto exchange = std::make_shared<Exchange>();
    const auto refuse = [&exchange](int code, const QString &sentence) {
        exchange->unsent = errorEvent(code, sentence);
        exchange->decided = true;
        qCInfo(lcSandbox).noquote() << "Registration refused:" << sentence;
        return exchange;
    };
    QString error;
    const auto decoded = decodeDocument(document, error);
    if (!decoded) {
        return refuse(400, error);
    }
    if (!decoded->isNewGateway()) {
        const auto known = m_fleet.find(decoded->app);
        if (!known || !known->isGateway) {
            return refuse(404, QStringLiteral("The gateway is not registered here"));
        }
    }
    exchange->document = *decoded;

    const std::lock_guard lock(m_mutex);
    if (m_openCodes.size() >= maxOpenCodes) {
        return refuse(503, QStringLiteral("Too many gateways are registering at once"));
    }
    exchange->code = unusedCode();
    exchange->expiry = Exchange::Clock::now() + m_codeTimeout;
    exchange->unsent =
        streamEvent("code", QJsonObject{{"value", exchange->code.toInt()},
                                        {"code", exchange->code},
                                        {"timeout", static_cast<qint64>(m_codeTimeout.count())}});
    m_openCodes.insert(exchange->code, exchange);
    qCInfo(lcSandbox) << "A gateway with" << exchange->document.siblings.size()
                      << "new devices waits until the user enters its code";
    return exchange;
}

void Registrar::closeCode(const std::shared_ptr<Exchange> &exchange, const QString &why)
{
    if (m_openCodes.remove(exchange->code) == 0) {
        return;
    }
    m_closedCodes.append({exchange->code, why});
    while (m_closedCodes.size() > maxClosedCodes) {
        m_closedCodes.removeFirst();
    }
}

StreamPiece Registrar::next(const std::shared_ptr<Exchange> &exchange)
{
    std::unique_lock lock(m_mutex);
    const auto isDue = [&] {
        return m_shuttingDown || exchange->decided || !exchange->unsent.isEmpty();
    };
    const auto tick = Exchange::Clock::now() + streamTick;
    m_changed.wait_until(lock, exchange->entered ? tick : std::min(tick, exchange->expiry), isDue);
    if (!isDue() && !exchange->entered && Exchange::Clock::now() >= exchange->expiry) {
        exchange->unsent = errorEvent(408, QStringLiteral("The code has expired"));
        exchange->decided = true;
        closeCode(exchange, QStringLiteral("This code has expired."));
    }
    StreamPiece piece{exchange->unsent, exchange->decided || m_shuttingDown};
    exchange->unsent.clear();
    return piece;
}

void Registrar::end(const std::shared_ptr<Exchange> &exchange)
{
    const std::lock_guard lock(m_mutex);
    if (!exchange->decided) {
        exchange->decided = true;
        qCInfo(lcSandbox) << "A gateway no longer waits for its code";
    }
    closeCode(exchange, QStringLiteral("The gateway no longer waits for this code."));
}

Registrar::Verdict Registrar::enter(const QString &code)
{
    std::shared_ptr<Exchange> exchange;
    {
        const std::lock_guard lock(m_mutex);
        exchange = m_openCodes.value(code);
        if (!exchange) {
            const auto closed = std::find_if(m_closedCodes.begin(), m_closedCodes.end(),
                                             [&](const auto &one) { return one.first == code; });
            if (closed != m_closedCodes.end()) {
                return {Answer::ClosedCode, closed->second, {}};
            }
            return {Answer::UnknownCode, QStringLiteral("No gateway shows this code."), {}};
        }
        if (exchange->entered) {
            return {Answer::ClosedCode, QStringLiteral("This code was used already."), {}};
        }
        if (Exchange::Clock::now() >= exchange->expiry) {
            return {Answer::ClosedCode, QStringLiteral("This code has expired."), {}};
        }
        exchange->entered = true;
    }

    QString error;
    const QJsonObject reply = result(exchange->document, error);

    const std::lock_guard lock(m_mutex);
    exchange->unsent = error.isEmpty() ? streamEvent("result", reply) : errorEvent(500, error);
    exchange->decided = true;
    closeCode(exchange, QStringLiteral("This code was used already."));
    m_changed.notify_all();
    if (!error.isEmpty()) {
        qCWarning(lcSandbox).noquote() << "Registration failed:" << error;
        return {Answer::Failed, error, {}};
    }
    const QString id = reply.value("id").toString();
    qCInfo(lcSandbox).noquote() << "Registered" << exchange->document.siblings.size()
                                << "devices of" << id;
    return {Answer::Accepted, {}, id};
}

QJsonObject Registrar::result(const RegistrationDocument &document, QString &error)
{
    RegisteredGateway gateway;
    gateway.things = Fleet::newThings(document.siblings);
    QJsonObject reply;
    if (document.isNewGateway()) {
        gateway.id = m_fleet.newGatewayId(document.type, document.version);
        gateway.alias = document.alias;
        const auto credentials = m_authority.issue(gateway.id, Authority::Role::Client, error);
        if (!credentials || !m_fleet.addGateway(gateway, error)) {
            return {};
        }
        reply.insert("cred", QJsonObject{{"priv", QString::fromLatin1(credentials->key)},
                                         {"file", QString::fromLatin1(credentials->cert)}});
    } else {
        const auto known = m_fleet.find(document.app);
        gateway.id = document.app;
        gateway.alias = known ? known->alias : QString();
        if (!m_fleet.addThings(gateway.id, gateway.things, error)) {
            return {};
        }
    }
    QJsonArray fleet;
    for (const RegisteredThing &thing : qAsConst(gateway.things)) {
        fleet.append(QJsonObject{{"id", thing.id}, {"alias", thing.alias}});
    }
    reply.insert("id", gateway.id);
    reply.insert("alias", gateway.alias);
    reply.insert("server", m_broker.host);
    reply.insert("port", m_broker.port);
    reply.insert("fleet", fleet);
    return reply;
}

void Registrar::shutDown()
{
    const std::lock_guard lock(m_mutex);
    m_shuttingDown = true;
    m_changed.notify_all();
}
