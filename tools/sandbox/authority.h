#pragma once

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>

// The certificate authority that the build made. It issues the certificates of the broker, of the
// sandbox's own MQTT client and of every registered gateway. Call load() once; then issue() may run
// on several threads at once.
class Authority
{
public:
    // PEM texts. The key is RSA 2048 in its traditional form (PKCS#1), not encrypted.
    struct Credentials
    {
        QByteArray cert;
        QByteArray key;
    };
    enum class Role {
        Server, // for "localhost" and 127.0.0.1
        Client
    };

    Authority();
    ~Authority();
    Authority(const Authority &) = delete;
    Authority &operator=(const Authority &) = delete;

    // Reads authority.pem and authority.key of `folder`. On failure `error` holds the reason.
    [[nodiscard]] bool load(const QString &folder, QString &error);
    QString certificateFile() const { return m_certificateFile; }

    // A new key and its certificate. Empty, with the reason, when OpenSSL fails, for instance
    // because the name is longer than the 64 characters that X.520 allows.
    std::optional<Credentials> issue(const QString &commonName, Role role, QString &error) const;

private:
    struct Keys;
    std::unique_ptr<Keys> m_keys;
    QString m_certificateFile;
};
