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
    TestBroker();
    ~TestBroker();

    // Starts the broker and waits until it listens: on a free port the first time, on the same
    // port again later. False, with a warning, when it does not come up.
    bool start();
    void kill(); // SIGKILL
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
    // Ends with this program, however that ends.
    class Process : public QProcess
    {
    protected:
        void setupChildProcess() override;
    };
    bool launch();

    QTemporaryDir m_dir;
    Process m_process;
    quint16 m_port = 0;
};
