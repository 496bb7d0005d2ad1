#include "cloud/credentialstore.h"

#include "cloud/log.h"
#include "settings/privatefile.h"

#include <QDir>
#include <QFile>
#include <QSslCertificate>
#include <QSslKey>
#include <QStandardPaths>

namespace {

// Far above a certificate chain or a key of 16384 bits.
constexpr qint64 maxFileSize = 256LL * 1024;

QString pathOf(const char *name)
{
    const QString folder =
        QStandardPaths::standardLocations(QStandardPaths::AppDataLocation).value(0);
    QDir().mkpath(folder);
    return folder + QDir::separator() + QLatin1String(name);
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.read(maxFileSize) : QByteArray();
}

bool replaceFile(const QString &path, const QByteArray &text)
{
    QString error;
    const bool written = replacePrivateFile(path, text, error);
    if (!written) {
        qCWarning(lcCloud).noquote() << "Cannot write" << path << "-" << error;
    }
    return written;
}

QSslKey readKey(const QByteArray &pem)
{
    return QSslKey(pem, QSsl::Rsa, QSsl::Pem, QSsl::PrivateKey, CredentialStore::passPhrase());
}

QByteArray encryptedPem(const QSslKey &key)
{
    return key.toPem(CredentialStore::passPhrase());
}

template <typename IsNull>
CredentialStore::SSLStatus statusOf(const QString &path, IsNull isNull)
{
    if (!QFile::exists(path)) {
        return CredentialStore::FileMissing;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return CredentialStore::FileCorrupt;
    }
    return isNull(file.read(maxFileSize)) ? CredentialStore::CryptoInv : CredentialStore::Ok;
}

} // namespace

QByteArray CredentialStore::passPhrase()
{
    // Without NUL: when it decrypts, the TLS library takes the phrase as a C string.
    static constexpr char phrase[] = "\x9d\x2b\xe7\x41\x6a\xf3\x58\x0c\xb6\x7e\x93\x1f\xd4\x65"
                                     "\xa8\x3c\xee\x17\x52\xcb\x89\x34\xfd\x60\x0b\x97\xc2\x4f"
                                     "\x7a\xe1\x26\xb5\x18\xdc\x43\x9f\x71\x0e\xa4\x5d\xf8\x33";
    static_assert(sizeof phrase - 1 == 42);
    return QByteArray(phrase, sizeof phrase - 1);
}

QString CredentialStore::keyFilePath() const
{
    return pathOf("kvgatew.key");
}

QString CredentialStore::certFilePath() const
{
    return pathOf("kvgatew.cert");
}

QSslKey CredentialStore::key() const
{
    return readKey(readFile(keyFilePath()));
}

QSslCertificate CredentialStore::certificate() const
{
    return QSslCertificate(readFile(certFilePath()), QSsl::Pem);
}

CredentialStore::SSLStatus CredentialStore::keyStatus() const
{
    return statusOf(keyFilePath(), [](const QByteArray &pem) { return readKey(pem).isNull(); });
}

CredentialStore::SSLStatus CredentialStore::certStatus() const
{
    return statusOf(certFilePath(),
                    [](const QByteArray &pem) { return QSslCertificate(pem, QSsl::Pem).isNull(); });
}

bool CredentialStore::storeIssuedCredentials(const QByteArray &certPem, const QByteArray &keyPem,
                                             QString &error)
{
    const QSslKey key(keyPem, QSsl::Rsa, QSsl::Pem, QSsl::PrivateKey);
    if (key.isNull()) {
        error = QStringLiteral("Key is invalid");
        return false;
    }
    if (!replaceFile(keyFilePath(), encryptedPem(key))) {
        error = QStringLiteral("Cannot save the key to disk");
        return false;
    }
    const QSslCertificate certificate(certPem, QSsl::Pem);
    if (certificate.isNull()) {
        error = QStringLiteral("Invalid certificate file");
        return false;
    }
    if (!replaceFile(certFilePath(), certificate.toPem())) {
        error = QStringLiteral("Cannot save the certificate to disk");
        return false;
    }
    return true;
}

bool CredentialStore::storeCertificateDer(const QByteArray &der)
{
    const QSslCertificate certificate(der, QSsl::Der);
    return !certificate.isNull() && replaceFile(certFilePath(), certificate.toPem());
}

bool CredentialStore::storeKeyDer(const QByteArray &der)
{
    const QSslKey key(der, QSsl::Rsa, QSsl::Der, QSsl::PrivateKey);
    return !key.isNull() && replaceFile(keyFilePath(), encryptedPem(key));
}

bool CredentialStore::isCertificate(const QByteArray &der)
{
    return !QSslCertificate(der, QSsl::Der).isNull();
}

bool CredentialStore::isKey(const QByteArray &der)
{
    return !QSslKey(der, QSsl::Rsa, QSsl::Der, QSsl::PrivateKey).isNull();
}

QByteArray CredentialStore::certificateDer() const
{
    return certificate().toDer();
}

QByteArray CredentialStore::keyDer() const
{
    return key().toDer();
}

void CredentialStore::removeCredentials()
{
    for (const QString &path : {keyFilePath(), certFilePath()}) {
        QFile file(path);
        if (file.exists() && !file.remove()) {
            qCWarning(lcCloud).noquote() << "Cannot remove" << path << "-" << file.errorString();
        }
    }
}
