#include "cloud/credentialstore.h"

#include "cloud/log.h"
#include "settings/privatefile.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QSslCertificate>
#include <QSslKey>
#include <QStandardPaths>

#include <utility>

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

char byteAt(const QByteArray &bytes, int at)
{
    return at < bytes.size() ? bytes.at(at) : '\0';
}

// Of an RSA key as PKCS #1 has it (RFC 8017, A.1.2): a sequence of the version, one byte, and the
// modulus. What is no such key gives some other bytes.
QByteArray modulus(const QByteArray &der)
{
    const auto valueAt = [&der](int at) { // of the object there
        const int first = quint8(byteAt(der, at + 1));
        const int lengthBytes = first > 0x80 ? first - 0x80 : 0;
        int length = lengthBytes == 0 ? first : 0;
        for (int i = 0; i < lengthBytes; ++i) {
            length = (length << 8 | quint8(byteAt(der, at + 2 + i))) & 0xffffff;
        }
        return std::pair(at + 2 + lengthBytes, length);
    };
    const int version = valueAt(0).first;
    const auto [begin, length] = valueAt(version + 3);
    return der.mid(begin, length);
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

CredentialStore::Validity CredentialStore::validity() const
{
    // Also an empty QSslCertificate initialises OpenSSL.
    if (!QFile::exists(certFilePath())) {
        return {};
    }
    const QSslCertificate own = certificate();
    return own.isNull() ? Validity()
                        : Validity{own.effectiveDate().toMSecsSinceEpoch(),
                                   own.expiryDate().toMSecsSinceEpoch()};
}

ConnectionFailure CredentialStore::fault() const
{
    const auto failure = [](const char *cause, const char *cure = QT_TRANSLATE_NOOP(
                                                   "CloudFailure", "register the gateway again")) {
        return ConnectionFailure{QLatin1String(cause), {}, QLatin1String(cure)};
    };
    if (!QFile::exists(keyFilePath()) || !QFile::exists(certFilePath())) {
        return failure(QT_TRANSLATE_NOOP("CloudFailure",
                                         "the certificate or the key of this gateway is missing"));
    }
    const QSslKey ownKey = key();
    const QSslCertificate own = certificate();
    if (ownKey.isNull() || own.isNull()) {
        return failure(QT_TRANSLATE_NOOP("CloudFailure",
                                         "the certificate or the key of this gateway is damaged"));
    }
    // Not in publicKey(): Qt crashes when OpenSSL cannot read that.
    if (!own.toDer().contains(modulus(ownKey.toDer()))) {
        return failure(QT_TRANSLATE_NOOP("CloudFailure", "the key belongs to another certificate"));
    }
    const QDateTime now = QDateTime::currentDateTime();
    if (own.expiryDate() < now) {
        return failure(
            QT_TRANSLATE_NOOP("CloudFailure", "the certificate of this gateway has expired"),
            QT_TRANSLATE_NOOP("CloudFailure", "check the date and the time of this computer, then "
                                              "register the gateway again; all names stay"));
    }
    if (own.effectiveDate() > now) {
        return failure(
            QT_TRANSLATE_NOOP("CloudFailure", "the certificate of this gateway is not valid yet"),
            QT_TRANSLATE_NOOP("CloudFailure", "check the date and the time of this computer"));
    }
    return {};
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
