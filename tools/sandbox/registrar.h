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

// The exchange with a gateway that wants to register: a code, and once the user entered it, the
// credentials. Any thread. Fleet and authority are borrowed and outlive the registrar.
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

    // One gateway's request, from its first event to its last.
    struct Exchange;
    // Begins with the request's document, good or bad: what next() says first tells which.
    std::shared_ptr<Exchange> begin(const QByteArray &document);
    // The events that are due, after waiting for one up to streamTick.
    StreamPiece next(const std::shared_ptr<Exchange> &exchange);
    // The gateway has its result or is gone: its code is free again.
    void end(const std::shared_ptr<Exchange> &exchange);

    enum class Answer {
        Accepted,
        UnknownCode,
        SpentCode, // it was good once
        Failed     // our own fault; the gateway is told as well
    };
    struct Verdict
    {
        Answer answer;
        QString sentence; // for the user; empty when accepted
        QString gateway;  // its id, when accepted
    };
    // The user entered `code`. Blocks while certificates are made, some tenths of a second.
    Verdict enter(const QString &code);

    // Ends every exchange.
    void close();

private:
    using ExchangeList = QList<std::shared_ptr<Exchange>>;
    QString unusedCode() const;
    void retire(const std::shared_ptr<Exchange> &exchange, const QString &why);
    // The result event's object. `error` is set when there is none.
    QJsonObject result(const RegistrationDocument &document, QString &error);

    Fleet &m_fleet;
    const Authority &m_authority;
    const Broker m_broker;
    const std::chrono::seconds m_codeTimeout;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    QHash<QString, std::shared_ptr<Exchange>> m_open; // by code
    QList<QPair<QString, QString>> m_spent;           // the latest codes, and what became of them
    bool m_closed = false;
};
