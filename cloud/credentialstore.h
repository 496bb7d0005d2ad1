#pragma once

#include "cloud/connectionfailure.h"

#include <QByteArray>
#include <QObject>
#include <QString>

class QSslCertificate;
class QSslKey;

// The client certificate and private key that the cloud issued, in the per-user data folder.
// The key is encrypted on disk; both files are readable by the user alone and are replaced in
// one step, so that a crash leaves either the old or the new one. Any thread; no state.
class CredentialStore
{
    Q_GADGET

public:
    enum SSLStatus {
        Ok = 0,
        FileMissing = 1,
        FileCorrupt = 2, // exists, but cannot be opened for reading
        CryptoInv = 3    // readable, but no valid key or certificate
    };
    Q_ENUM(SSLStatus)

    // Paths of the two files; their folder is created when it does not exist.
    QString keyFilePath() const;
    QString certFilePath() const;

    // Null if the file cannot be opened or holds none.
    QSslKey key() const;
    QSslCertificate certificate() const;

    SSLStatus keyStatus() const;
    SSLStatus certStatus() const;

    // When the certificate is valid, in milliseconds since 1970; zeros when there is none.
    struct Validity
    {
        qint64 from = 0;
        qint64 until = 0;
    };
    Validity validity() const;
    // Why no connection can be made with them; null when one can.
    ConnectionFailure fault() const;

    // Writes both files, the key first. On failure `error` is a text for the user; a key that was
    // written already stays.
    [[nodiscard]] bool storeIssuedCredentials(const QByteArray &certPem, const QByteArray &keyPem,
                                              QString &error);
    // For the restore of a backup. False, with the file unchanged, if `der` is no certificate or
    // key or the file cannot be written.
    [[nodiscard]] bool storeCertificateDer(const QByteArray &der);
    [[nodiscard]] bool storeKeyDer(const QByteArray &der);
    static bool isCertificate(const QByteArray &der);
    static bool isKey(const QByteArray &der);

    // For the backup; the key is not encrypted. Empty if the file cannot be read.
    QByteArray certificateDer() const;
    QByteArray keyDer() const;

    void removeCredentials();

    // Encrypts the key file. It must never change: existing key files could not be read any more.
    static QByteArray passPhrase();
};
