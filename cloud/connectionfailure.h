#pragma once

#include <QString>

class CredentialStore;
class QSslConfiguration;
class QSslError;

// Why a connection to the cloud failed, and what the user can do. A value; any thread.
struct ConnectionFailure
{
    QString cause; // in English, as in the log
    QString detail;
    QString cure;

    bool isNull() const { return cause.isEmpty(); }
    // All in one line.
    QString text() const;
    // In the user's language; the detail stays as it is.
    ConnectionFailure translated() const;

    // `clientError`: QMQTT::ClientError. `detail`: the socket's text.
    static ConnectionFailure of(int clientError, const QString &detail);
    // `socketError`: QAbstractSocket::SocketError.
    static ConnectionFailure ofSocket(int socketError, const QString &detail = {});
    // The broker's certificate was rejected.
    static ConnectionFailure of(const QSslError &error);
};

// The TLS settings of connections to the broker: the compiled-in authorities, and what is stored of
// this gateway's key and certificate.
QSslConfiguration cloudTls(const CredentialStore &credentials);
