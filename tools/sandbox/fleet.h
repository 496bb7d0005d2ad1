#pragma once

#include "tools/sandbox/accountfile.h"
#include "tools/sandbox/document.h"

#include <QHash>
#include <QJsonObject>
#include <QString>

#include <mutex>
#include <optional>

// Every registered gateway and thing, with what the broker told about it since the start. Any
// thread; each call is whole in itself. Registrations are on disk before a call returns true,
// states live in memory only.
class Fleet
{
public:
    explicit Fleet(const AccountFile &file);

    // Reads the accounts. Once, before anything else.
    bool load(QString &error);
    bool isEmpty() const;
    quint16 brokerPort() const;
    bool setBrokerPort(quint16 port, QString &error);

    // A full id that nobody has: type_version_serial_regid, the serial of eight hex digits.
    QString newGatewayId(const QString &type, const QString &version) const;
    // The siblings under new cloud ids.
    static QList<RegisteredThing> newThings(const QList<RegistrationDocument::Sibling> &siblings);
    bool addGateway(const RegisteredGateway &gateway, QString &error);
    // Adds to a known gateway. A thing of the same short id is replaced: the gateway has
    // forgotten its registration.
    bool addThings(const QString &gatewayId, const QList<RegisteredThing> &things, QString &error);

    struct Entry
    {
        bool isGateway = false;
        bool isConnected = false; // the gateway's link to the broker
        QString alias;
    };
    // Nothing for an id that is not registered.
    std::optional<Entry> find(const QString &id) const;

    // Keeps a state that came from the broker. What the portal tells of it: id, alias, gateway,
    // state, at, count. Nothing for an id that is not registered.
    std::optional<QJsonObject> receive(const QString &id, const QJsonObject &state);
    // False when nothing changed or `gatewayId` is not registered.
    bool setConnected(const QString &gatewayId, bool on);
    void disconnectAll();

    // {"gateways": [{id, alias, gateway, state, at, count, connected, things: [{id, alias,
    // gateway, state, at, count} …]} …]}; "state" and "at" are null until a state came.
    QByteArray snapshot() const;

private:
    struct Live
    {
        QString gateway;
        QString alias;
        QJsonObject state = {};
        QString at = {}; // ISO 8601, UTC, milliseconds; empty: none came
        quint64 count = 0;
        bool connected = false; // of gateways
    };
    bool keep(AccountBook book, QString &error);
    static QJsonObject describe(const QString &id, const Live &live);

    mutable std::mutex m_mutex;
    AccountFile m_file;
    AccountBook m_book;
    QHash<QString, Live> m_live;
};
