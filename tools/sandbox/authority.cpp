#include "tools/sandbox/authority.h"

#include <QDir>
#include <QFile>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <array>
#include <mutex>

namespace {

template <auto Free>
struct Freed
{
    template <typename T>
    void operator()(T *object) const
    {
        Free(object);
    }
};
using Bio = std::unique_ptr<BIO, Freed<BIO_free>>;
using Key = std::unique_ptr<EVP_PKEY, Freed<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Freed<X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Freed<X509_EXTENSION_free>>;
using Number = std::unique_ptr<BIGNUM, Freed<BN_free>>;

QString reason()
{
    std::array<char, 256> text{};
    ERR_error_string_n(ERR_get_error(), text.data(), text.size());
    ERR_clear_error();
    return QString::fromLatin1(text.data());
}

Bio open(const QByteArray &pem)
{
    return Bio(BIO_new_mem_buf(pem.constData(), pem.size()));
}

QByteArray text(BIO *bio)
{
    char *data = nullptr;
    const long size = BIO_get_mem_data(bio, &data);
    return size > 0 ? QByteArray(data, static_cast<int>(size)) : QByteArray();
}

bool readFile(const QString &path, QByteArray &content, QString &error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        error = QStringLiteral("Cannot read %1: %2").arg(path, file.errorString());
        return false;
    }
    content = file.read(1 << 20);
    return true;
}

bool addExtension(X509 *cert, X509 *issuer, int nid, const char *value)
{
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, cert, nullptr, nullptr, 0);
    const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, nid, value));
    return extension && X509_add_ext(cert, extension.get(), -1) == 1;
}

bool setRandomSerial(X509 *cert)
{
    // 127 bits: positive, and well inside the 20 octets of RFC 5280, section 4.1.2.2.
    std::array<unsigned char, 16> bytes{};
    if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) {
        return false;
    }
    bytes[0] &= 0x7f;
    const Number number(BN_bin2bn(bytes.data(), static_cast<int>(bytes.size()), nullptr));
    return number && BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(cert)) != nullptr;
}

} // namespace

struct Authority::Keys
{
    Certificate cert;
    Key key;
    std::mutex signing; // held while the shared key object signs
};

Authority::Authority() = default;
Authority::~Authority() = default;

bool Authority::load(const QString &folder, QString &error)
{
    const QDir dir(folder);
    const QString certFile = dir.absoluteFilePath("authority.pem");
    QByteArray certPem;
    QByteArray keyPem;
    if (!readFile(certFile, certPem, error) ||
        !readFile(dir.absoluteFilePath("authority.key"), keyPem, error)) {
        return false;
    }
    auto keys = std::make_unique<Keys>();
    keys->cert.reset(PEM_read_bio_X509(open(certPem).get(), nullptr, nullptr, nullptr));
    keys->key.reset(PEM_read_bio_PrivateKey(open(keyPem).get(), nullptr, nullptr, nullptr));
    if (!keys->cert || !keys->key) {
        error = QStringLiteral("The authority in %1 is damaged: %2").arg(folder, reason());
        return false;
    }
    if (X509_check_private_key(keys->cert.get(), keys->key.get()) != 1) {
        ERR_clear_error();
        error = QStringLiteral("The authority's key in %1 is not its certificate's").arg(folder);
        return false;
    }
    m_keys = std::move(keys);
    m_certificateFile = certFile;
    return true;
}

std::optional<Authority::Credentials> Authority::issue(const QString &commonName, Role role,
                                                       QString &error) const
{
    const Key key(EVP_RSA_gen(2048));
    const Certificate cert(X509_new());
    const QByteArray name = commonName.toUtf8();
    X509 *issuer = m_keys->cert.get();
    const char *usage = role == Role::Server ? "serverAuth" : "clientAuth";
    // Valid since an hour ago, as a gateway's clock may be slow, and as long as the authority
    // itself.
    bool good =
        key && cert && X509_set_version(cert.get(), X509_VERSION_3) == 1 &&
        setRandomSerial(cert.get()) &&
        X509_NAME_add_entry_by_NID(X509_get_subject_name(cert.get()), NID_commonName, MBSTRING_UTF8,
                                   reinterpret_cast<const unsigned char *>(name.constData()),
                                   name.size(), -1, 0) == 1 &&
        X509_set_issuer_name(cert.get(), X509_get_subject_name(issuer)) == 1 &&
        X509_gmtime_adj(X509_getm_notBefore(cert.get()), -3600) != nullptr &&
        X509_set1_notAfter(cert.get(), X509_get0_notAfter(issuer)) == 1 &&
        X509_set_pubkey(cert.get(), key.get()) == 1 &&
        addExtension(cert.get(), issuer, NID_basic_constraints, "critical,CA:FALSE") &&
        addExtension(cert.get(), issuer, NID_key_usage,
                     "critical,digitalSignature,keyEncipherment") &&
        addExtension(cert.get(), issuer, NID_ext_key_usage, usage) &&
        addExtension(cert.get(), issuer, NID_subject_key_identifier, "hash") &&
        addExtension(cert.get(), issuer, NID_authority_key_identifier, "keyid");
    if (good && role == Role::Server) {
        good = addExtension(cert.get(), issuer, NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1");
    }
    if (good) {
        const std::lock_guard lock(m_keys->signing);
        good = X509_sign(cert.get(), m_keys->key.get(), EVP_sha256()) > 0;
    }
    const Bio certText(BIO_new(BIO_s_mem()));
    const Bio keyText(BIO_new(BIO_s_mem()));
    if (!good || !certText || !keyText || PEM_write_bio_X509(certText.get(), cert.get()) != 1 ||
        PEM_write_bio_PrivateKey_traditional(keyText.get(), key.get(), nullptr, nullptr, 0, nullptr,
                                             nullptr) != 1) {
        error = QStringLiteral("Cannot issue a certificate: %1").arg(reason());
        return std::nullopt;
    }
    return Credentials{text(certText.get()), text(keyText.get())};
}
