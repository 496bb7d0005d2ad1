#pragma once

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
        FileCorrupt = 2, // there, but cannot be opened for reading
        CryptoInv = 3    // read, but no valid key or certificate
    };
    Q_ENUM(SSLStatus)

    // Paths of the two files; their folder is created when it does not exist.
    QString keyFilePath() const;
    QString certFilePath() const;

    // What the files hold; null when they cannot be opened or hold none.
    QSslKey key() const;
    QSslCertificate certificate() const;

    SSLStatus keyStatus() const;
    SSLStatus certStatus() const;

    // Writes both files, the key first. On failure `error` holds the user's sentence, and a key
    // already written stays: that order is deliberate.
    bool storeIssuedCredentials(const QByteArray &certPem, const QByteArray &keyPem,
                                QString &error);
    // For the restore of a backup. False when `der` is no certificate or key, or when the file
    // cannot be written; the file is untouched then.
    bool storeCertificateDer(const QByteArray &der);
    bool storeKeyDer(const QByteArray &der);
    static bool isCertificate(const QByteArray &der);
    static bool isKey(const QByteArray &der);

    // For the backup: the key without pass phrase. Empty when the file cannot be read.
    QByteArray certificateDer() const;
    QByteArray keyDer() const;

    void removeCredentials();

    // What the key file is encrypted with. Fixed for good: a key written under one phrase cannot
    // be read under another.
    static QByteArray passPhrase();
};
