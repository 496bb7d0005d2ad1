#pragma once

#include <QList>
#include <QString>

struct RegisteredThing
{
    QString id; // the cloud id: type_version_serial_regid
    QString alias;
};

struct RegisteredGateway
{
    QString id;
    QString alias;
    QList<RegisteredThing> things;
};

// What outlives the process: who is registered, and the port that their settings name.
struct AccountBook
{
    quint16 brokerPort = 0; // 0: none chosen yet
    QList<RegisteredGateway> gateways;
};

// The account book on disk, one JSON file. Any thread; no state but the path.
class AccountFile
{
public:
    explicit AccountFile(const QString &path)
        : m_path(path)
    {
    }

    // A file that is not there is an empty book. False, with the reason, for one that cannot be
    // read or is damaged: it is left as it is.
    bool read(AccountBook &book, QString &error) const;
    // Replaces the file at once or not at all.
    bool write(const AccountBook &book, QString &error) const;

private:
    QString m_path;
};
