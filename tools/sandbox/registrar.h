#pragma once

#include "tools/sandbox/authority.h"
#include "tools/sandbox/document.h"
#include "tools/sandbox/eventstream.h"
#include "tools/sandbox/fleet.h"

#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QPair>
#include <QString>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

// Registers gateways: sends each a code and, once the user has entered it, the credentials. Any
// thread. Fleet and authority are borrowed and must outlive the registrar.
class Registrar
{
public:
    struct Broker
    {
        QString host;
        quint16 port = 0;
    };
    Registrar(Fleet &fleet, const Authority &authority, const Broker &broker,
              std::chrono::seconds codeTimeout);

    // One gateway's request.
    struct Exchange;
    // For an invalid document, next() returns an error event.
    std::shared_ptr<Exchange> begin(const QByteArray &document);
    // Waits up to streamTick for events.
    StreamPiece next(const std::shared_ptr<Exchange> &exchange);
    // The gateway has its result, or has disconnected: closes its code.
    void end(const std::shared_ptr<Exchange> &exchange);

    enum class Answer {
        Accepted,
        UnknownCode,
        ClosedCode, // was used, has expired, or its gateway has disconnected
        Failed      // internal error; the gateway gets it too
    };
    struct Verdict
    {
        Answer answer;
        QString sentence; // for the user; empty when accepted
        QString gateway;  // its id, when accepted
    };
    // The user entered `code`. Blocks for some tenths of a second, to make certificates.
    Verdict enter(const QString &code);

    // Ends every exchange.
    void shutDown();

private:
    using ExchangeList = QList<std::shared_ptr<Exchange>>;
    QString unusedCode() const;
    void closeCode(const std::shared_ptr<Exchange> &exchange, const QString &why);
    // The object of the result event. On failure `error` is set.
    QJsonObject result(const RegistrationDocument &document, QString &error);

    Fleet &m_fleet;
    const Authority &m_authority;
    const Broker m_broker;
    const std::chrono::seconds m_codeTimeout;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    QHash<QString, std::shared_ptr<Exchange>> m_openCodes; // by code
    QList<QPair<QString, QString>> m_closedCodes;          // the latest ones, with the reason
    bool m_shuttingDown = false;
};
