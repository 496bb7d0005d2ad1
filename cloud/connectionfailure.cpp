#include "cloud/connectionfailure.h"

#include "cloud/credentialstore.h"
#include "cloud/log.h"
#include "settings/defaults.h"

#include <QCoreApplication>
#include <QFile>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslError>
#include <QSslKey>
#include <QSslSocket>

#include <qmqtt.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

struct Failure
{
    const char *cause;
    const char *cure;
};

constexpr char registerAgain[] = QT_TRANSLATE_NOOP("CloudFailure", "register the gateway again");
constexpr char checkClock[] =
    QT_TRANSLATE_NOOP("CloudFailure", "check the date and the time of this computer");
constexpr char checkAddress[] =
    QT_TRANSLATE_NOOP("CloudFailure", "check the cloud's address in the settings");
constexpr char checkNetwork[] =
    QT_TRANSLATE_NOOP("CloudFailure", "check the network and the firewall");
constexpr char checkProxy[] =
    QT_TRANSLATE_NOOP("CloudFailure", "check for a proxy or a virus scanner in between");
constexpr char retrying[] = QT_TRANSLATE_NOOP("CloudFailure", "retrying");

constexpr Failure rejectedCertificate{
    QT_TRANSLATE_NOOP("CloudFailure", "the cloud rejects the certificate of this gateway"),
    registerAgain};
constexpr Failure noCommonTls{
    QT_TRANSLATE_NOOP("CloudFailure",
                      "the cloud and this gateway have no TLS version or cipher in common"),
    checkProxy};
constexpr Failure rejectedRegistration{
    QT_TRANSLATE_NOOP("CloudFailure", "the cloud rejects the registration of this gateway"),
    registerAgain};
constexpr Failure unreachable{QT_TRANSLATE_NOOP("CloudFailure", "the cloud cannot be reached"),
                              checkNetwork};
constexpr Failure noTls{QT_TRANSLATE_NOOP("CloudFailure", "TLS handshake failed"), checkProxy};

// By OpenSSL's error text.
const std::pair<const char *, Failure> tlsErrors[] = {
    {"alert certificate expired",
     {QT_TRANSLATE_NOOP("CloudFailure",
                        "for the cloud the certificate of this gateway has expired"),
      checkClock}},
    {"alert certificate revoked",
     {QT_TRANSLATE_NOOP("CloudFailure", "the certificate of this gateway was revoked"),
      registerAgain}},
    {"alert unknown ca",
     {QT_TRANSLATE_NOOP("CloudFailure",
                        "the cloud does not know who issued the certificate of this gateway"),
      registerAgain}},
    {"alert bad certificate", rejectedCertificate},
    {"alert certificate required", rejectedCertificate},
    {"alert certificate unknown", rejectedCertificate},
    {"alert unsupported certificate", rejectedCertificate},
    {"alert access denied", rejectedCertificate},
    {"alert decrypt error", rejectedCertificate},
    {"alert protocol version", noCommonTls},
    {"alert handshake failure", noCommonTls},
    {"alert insufficient security", noCommonTls},
    {"wrong version number",
     {QT_TRANSLATE_NOOP("CloudFailure", "the server at that address does not speak TLS"),
      checkAddress}},
};
const std::pair<QMQTT::ClientError, Failure> failures[] = {
    {QMQTT::SocketConnectionRefusedError,
     {QT_TRANSLATE_NOOP("CloudFailure", "no server at that address, or a firewall blocks it"),
      QT_TRANSLATE_NOOP("CloudFailure",
                        "check the cloud's address and port in the settings, and the firewall")}},
    {QMQTT::SocketHostNotFoundError,
     {QT_TRANSLATE_NOOP("CloudFailure", "host name lookup failed"),
      QT_TRANSLATE_NOOP("CloudFailure",
                        "check the network and the cloud's address in the settings")}},
    {QMQTT::SocketTimeoutError, unreachable},
    {QMQTT::SocketNetworkError, unreachable},
    {QMQTT::SocketRemoteHostClosedError,
     {QT_TRANSLATE_NOOP("CloudFailure", "the cloud closed the connection"), retrying}},
    {QMQTT::SocketSslHandshakeFailedError, noTls},
    {QMQTT::SocketSslInternalError, noTls},
    {QMQTT::MqttUnacceptableProtocolVersionError,
     {QT_TRANSLATE_NOOP("CloudFailure", "the cloud does not speak MQTT 3.1.1"), checkAddress}},
    {QMQTT::MqttIdentifierRejectedError, rejectedRegistration},
    {QMQTT::MqttBadUserNameOrPasswordError, rejectedRegistration},
    {QMQTT::MqttNotAuthorizedError, rejectedRegistration},
    {QMQTT::MqttServerUnavailableError,
     {QT_TRANSLATE_NOOP("CloudFailure", "the cloud is out of service"), retrying}},
    {QMQTT::MqttNoPingResponse,
     {QT_TRANSLATE_NOOP("CloudFailure", "the cloud does not answer pings"), retrying}},
};
constexpr Failure anyFailure{QT_TRANSLATE_NOOP("CloudFailure", "the connection failed"), retrying};

ConnectionFailure made(const Failure &failure)
{
    return {QLatin1String(failure.cause), {}, QLatin1String(failure.cure)};
}

QString translation(const QString &text)
{
    QString words = QCoreApplication::translate("CloudFailure", text.toUtf8().constData());
    return words.replace(0, 1, words.left(1).toUpper());
}

QList<QSslCertificate> trustedAuthorities()
{
    // Named after the compiled-in host, not the setting: the host that a user typed must not decide
    // which authorities are trusted.
    QFile file(QStringLiteral(":/cacerts/%1.ca").arg(QLatin1String(defaults::CloudHost)));
    const QList<QSslCertificate> authorities =
        file.open(QIODevice::ReadOnly) ? QSslCertificate::fromData(file.readAll(), QSsl::Pem)
                                       : QList<QSslCertificate>();
    if (authorities.isEmpty()) {
        qCWarning(lcCloud) << "No trusted authority in" << file.fileName()
                           << "- every broker certificate will be rejected";
    }
    return authorities;
}

} // namespace

QString ConnectionFailure::text() const
{
    QStringList parts{cause, detail, cure};
    parts.removeAll(QString());
    return parts.join(QLatin1String(": "));
}

ConnectionFailure ConnectionFailure::translated() const
{
    return {translation(cause), detail, translation(cure)};
}

ConnectionFailure ConnectionFailure::of(int clientError, const QString &detail)
{
    const auto *const tls =
        std::find_if(std::begin(tlsErrors), std::end(tlsErrors), [&](const auto &known) {
            return detail.contains(QLatin1String(known.first));
        });
    if (tls != std::end(tlsErrors)) {
        return made(tls->second);
    }
    const auto *const failure =
        std::find_if(std::begin(failures), std::end(failures),
                     [clientError](const auto &known) { return known.first == clientError; });
    return made(failure != std::end(failures) ? failure->second : anyFailure);
}

ConnectionFailure ConnectionFailure::ofSocket(int socketError, const QString &detail)
{
    return of(socketError + QMQTT::SocketConnectionRefusedError, detail);
}

ConnectionFailure ConnectionFailure::of(const QSslError &error)
{
    const char *cure = QT_TRANSLATE_NOOP(
        "CloudFailure", "this build trusts another cloud, or the connection is intercepted");
    if (error.error() == QSslError::HostNameMismatch) {
        cure = checkAddress;
    } else if (error.error() == QSslError::CertificateNotYetValid ||
               error.error() == QSslError::CertificateExpired) {
        cure = checkClock;
    }
    return {QLatin1String(QT_TRANSLATE_NOOP("CloudFailure", "Broker certificate rejected")),
            error.errorString(), QLatin1String(cure)};
}

QSslConfiguration cloudTls(const CredentialStore &credentials)
{
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    tls.setPeerVerifyMode(QSslSocket::VerifyPeer);
    tls.setProtocol(QSsl::TlsV1_2OrLater);
    tls.setCaCertificates(trustedAuthorities());
    tls.setLocalCertificate(credentials.certificate());
    tls.setPrivateKey(credentials.key());
    return tls;
}
