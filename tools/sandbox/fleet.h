#pragma once

#include "tools/sandbox/accountfile.h"
#include "tools/sandbox/document.h"

#include <QHash>
#include <QJsonObject>
#include <QString>

#include <mutex>
#include <optional>

// The registered gateways and things, with the states that the broker delivered since the start.
// Any thread; each call is atomic. Registrations are on disk before a call returns true; states are
// kept in memory only.
class Fleet
{
public:
    explicit Fleet(const AccountFile &file);

    // Reads the accounts. Call it once, first.
    [[nodiscard]] bool load(QString &error);
    bool isEmpty() const;
    quint16 brokerPort() const;
    [[nodiscard]] bool setBrokerPort(quint16 port, QString &error);

    // An unused full id: type_version_serial_regid, the serial has eight hexadecimal digits.
    QString newGatewayId(const QString &type, const QString &version) const;
    // The siblings under new cloud ids.
    static QList<RegisteredThing> newThings(const QList<RegistrationDocument::Sibling> &siblings);
    [[nodiscard]] bool addGateway(const RegisteredGateway &gateway, QString &error);
    // Adds to a registered gateway. Replaces a thing of the same short id: the gateway has lost its
    // registration.
    [[nodiscard]] bool addThings(const QString &gatewayId, const QList<RegisteredThing> &things,
                                 QString &error);

    struct Entry
    {
        bool isGateway = false;
        bool isConnected = false; // the gateway's link to the broker
        QString alias;
    };
    // Empty for an id that is not registered.
    std::optional<Entry> find(const QString &id) const;

    // Returns the portal's description of the thing: id, alias, gateway, state, at, count. Empty
    // for an id that is not registered.
    std::optional<QJsonObject> recordState(const QString &id, const QJsonObject &state);
    // False when nothing changed or `gatewayId` is not registered.
    bool setConnected(const QString &gatewayId, bool on);
    void disconnectAll();

    // {"gateways": [{id, alias, gateway, state, at, count, connected, things: [{id, alias,
    // gateway, state, at, count} …]} …]}; "state" and "at" are null before the first state.
    QByteArray snapshot() const;

private:
    struct Live
    {
        QString gateway;
        QString alias;
        QJsonObject state = {};
        QString at = {}; // time of the state: ISO 8601, UTC, milliseconds; empty: none yet
        quint64 count = 0;
        bool connected = false; // for gateways only
    };
    void insertLive(const RegisteredGateway &gateway);
    [[nodiscard]] bool store(AccountBook book, QString &error);
    static QJsonObject describe(const QString &id, const Live &live);

    mutable std::mutex m_mutex;
    AccountFile m_file;
    AccountBook m_book;
    QHash<QString, Live> m_live;
};
