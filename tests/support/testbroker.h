#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

// A real mosquitto on a free port of the loopback interface, with TLS and client certificates
// required; both sides' certificates come from the build's sandbox authority.
class TestBroker
{
public:
    enum Security { Tls, PlainTcp };
    explicit TestBroker(Security security = Tls);
    ~TestBroker();

    // Starts the broker and waits until it listens: on a free port the first time, on the same
    // port again later. False, with a warning, when it does not come up.
    bool start(const QStringList &extraConfiguration = {});
    void kill();   // SIGKILL
    void freeze(); // SIGSTOP: the link stays up and stalls
    void thaw();   // SIGCONT
    quint16 port() const { return m_port; }
    QString caFile() const;

    // A client certificate and RSA key (PEM) signed by the authority, made anew at each call.
    struct Credentials
    {
        QByteArray cert;
        QByteArray key;
    };
    Credentials issue(const QString &commonName);

private:
    bool launch(const QStringList &extraConfiguration);

    Security m_security;
    QTemporaryDir m_dir;
    QProcess m_process;
    quint16 m_port = 0;
};
