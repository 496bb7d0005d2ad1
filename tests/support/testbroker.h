#pragma once

#include "tests/support/hostprocess.h"

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

// A real mosquitto on a free port of the loopback interface, with TLS and client certificates
// required; both sides' certificates come from the build's sandbox authority.
class TestBroker
{
public:
    TestBroker() { m_process.setProcessChannelMode(QProcess::MergedChannels); }
    ~TestBroker() { kill(); }

    // Starts the broker and waits until it listens. False, with a warning, if it does not.
    [[nodiscard]] bool start();
    // The broker loses what it has not passed on.
    void kill();
    // Starts it again, on the same port.
    [[nodiscard]] bool restart();
    qint64 processId() const { return m_process.processId(); }
    quint16 port() const { return m_port; }
    QString caFile() const;

    // A new client certificate and RSA key (PEM), signed by the authority, valid for `days`; until
    // yesterday for -1.
    struct Credentials
    {
        QByteArray cert;
        QByteArray key;
    };
    Credentials issue(const QString &commonName, int days = 30);
    // A certificate for localhost, not signed by the authority.
    Credentials selfSigned();

private:
    QTemporaryDir m_dir;
    HostProcess m_process;
    quint16 m_port = 0;
};
