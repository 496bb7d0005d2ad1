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

// What is stored: the registered gateways, and the broker's port, which their settings hold.
struct AccountBook
{
    quint16 brokerPort = 0; // 0: none chosen yet
    QList<RegisteredGateway> gateways;
};

// Reads and writes the account book, one JSON file. Any thread; no state but the path.
class AccountFile
{
public:
    explicit AccountFile(const QString &path)
        : m_path(path)
    {
    }

    // A missing file gives an empty book. False, with the reason, if the file is damaged or cannot
    // be read; it stays as it is.
    [[nodiscard]] bool read(AccountBook &book, QString &error) const;
    // Replaces the file in one step. False, with the reason, on failure; the old file stays.
    [[nodiscard]] bool write(const AccountBook &book, QString &error) const;

private:
    QString m_path;
};
