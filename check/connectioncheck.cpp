#include "check/connectioncheck.h"

#include "cloud/connectionfailure.h"
#include "cloud/credentialstore.h"
#include "cloud/velmorcloudclient.h"
#include "registration/qssemanager.h"
#include "settings/privatefile.h"
#include "settings/settingsstore.h"
#include "things/gatewaything.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QHostAddress>
#include <QHostInfo>
#include <QLocale>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QPointer>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslError>
#include <QSslKey>
#include <QSslSocket>
#include <QStandardPaths>
#include <QStorageInfo>
#include <QSysInfo>
#include <QUrl>

#include <chrono>
#include <iterator>

using namespace std::chrono_literals;

namespace {

constexpr auto stepLimit = 10s;
constexpr qint64 maxClockError = 300; // seconds
constexpr int firstServerError = 500; // HTTP status

QString dateText(const QDateTime &date)
{
    return QLocale().toString(date.toLocalTime(), QLocale::ShortFormat);
}

QString issuerOf(const QSslCertificate &certificate)
{
    return certificate.issuerDisplayName().left(100);
}

} // namespace

const ConnectionCheck::Step ConnectionCheck::steps[] = {
    {QT_TR_NOOP("Settings"), &ConnectionCheck::checkSettings},
    {QT_TR_NOOP("Host name"), &ConnectionCheck::lookUpHost},
    {QT_TR_NOOP("Port"), &ConnectionCheck::connectToPort},
    {QT_TR_NOOP("Encryption"), &ConnectionCheck::encrypt},
    {QT_TR_NOOP("Certificate and key"), &ConnectionCheck::checkCredentials},
    {QT_TR_NOOP("Sign-in"), &ConnectionCheck::signIn},
    {QT_TR_NOOP("Registration server"), &ConnectionCheck::askRegistrar},
    {QT_TR_NOOP("Clock"), &ConnectionCheck::checkClock},
    {QT_TR_NOOP("Data folder"), &ConnectionCheck::checkFolder},
};

ConnectionCheck::ConnectionCheck(GatewayThing &gateway, QObject *parent)
    : QObject(parent)
    , m_gateway(gateway)
    , m_limit(this)
{
    m_limit.setSingleShot(true);
    m_limit.setInterval(stepLimit);
    connect(&m_limit, &QTimer::timeout, this, [this] {
        fail(tr("No answer within ten seconds"),
             tr("Check the network and the firewall. If both are good, something else than the "
                "cloud answers at this address."));
    });
}

ConnectionCheck::~ConnectionCheck() = default;

void ConnectionCheck::addDeviceType(const QString &name, const QString &version)
{
    m_deviceTypes += QStringLiteral("Device type: %1 %2").arg(name, version);
}

void ConnectionCheck::start()
{
    cancel();
    m_number = 0;
    m_hasSettings = false;
    m_hasAddress = false;
    m_hasPort = false;
    m_hasEncryption = false;
    m_hasCredentials = false;
    m_serverTime = {};
    next();
}

void ConnectionCheck::cancel()
{
    m_number = -1;
    m_limit.stop();
    m_context.reset();
    m_socket.reset();
}

QString ConnectionCheck::facts() const
{
    QStringList lines{
        QCoreApplication::applicationName() + ' ' + QCoreApplication::applicationVersion(),
        QSysInfo::prettyProductName() + ", " + QSysInfo::currentCpuArchitecture() + ", kernel " +
            QSysInfo::kernelVersion(),
        QStringLiteral("Qt ") + qVersion() + ", " + QSslSocket::sslLibraryVersionString()};
    const Outbox &outbox = m_gateway.client().outbox();
    for (const OutboxLedger &ledger : {outbox.ledger(), outbox.ledgerOfThisRun()}) {
        lines += QStringLiteral("Messages since %1: %2 delivered, %3 waiting; dropped: %4 for want "
                                "of room, %5 too old, %6 void, %7 damaged")
                     .arg(QDateTime::fromMSecsSinceEpoch(ledger.since).toString(Qt::ISODate))
                     .arg(ledger.delivered)
                     .arg(ledger.waiting)
                     .arg(ledger.droppedFull)
                     .arg(ledger.droppedOld)
                     .arg(ledger.droppedVoid)
                     .arg(ledger.droppedLost);
    }
    return (lines + m_deviceTypes).join('\n');
}

void ConnectionCheck::next()
{
    if (m_number == int(std::size(steps))) {
        cancel();
        emit finished(facts());
        return;
    }
    const Step &step = steps[m_number];
    m_context = std::make_unique<QObject>();
    m_limit.start();
    emit stepChanged({m_number, CheckStep::Running, tr(step.name), {}, {}});
    (this->*step.begin)();
}

void ConnectionCheck::end(CheckStep::Status status, const QString &seen, const QString &advice)
{
    if (!m_context) {
        return; // a second signal of the same fault
    }
    m_limit.stop();
    emit stepChanged({m_number, status, tr(steps[m_number].name), seen, advice});
    ++m_number;
    // Queued, since a signal of what this step connected may have called this function.
    m_context.release()->deleteLater();
    const auto goOn = [this, number = m_number] {
        if (number == m_number) { // neither cancelled nor begun anew
            next();
        }
    };
    QMetaObject::invokeMethod(this, goOn, Qt::QueuedConnection);
}

void ConnectionCheck::fail(const QString &seen, const QString &advice)
{
    end(CheckStep::Failed, seen, advice);
}

void ConnectionCheck::fail(const ConnectionFailure &failure)
{
    const ConnectionFailure words = failure.translated();
    fail(words.detail.isEmpty() ? words.cause : words.cause + QLatin1String(": ") + words.detail,
         words.cure);
}

bool ConnectionCheck::skipWithout(bool found)
{
    if (!found) {
        skip(tr("Not checked, because an earlier step failed"));
    }
    return !found;
}

void ConnectionCheck::checkSettings()
{
    const SettingsStore store;
    m_host = store.value(keys::CloudHost).trimmed();
    const quint32 port = store.value(keys::CloudPort);
    const QUrl registrar(store.value(keys::RegistrarEndpoint));
    QUrl host;
    host.setHost(m_host);
    const bool hasHost = !host.host().isEmpty();
    m_hasSettings = hasHost && port > 0 && port <= 0xffff;
    m_port = quint16(port);
    const QString correct = tr("Correct it in the settings");
    if (!hasHost) {
        fail(tr("The cloud's address is no host name"), correct);
    } else if (!m_hasSettings) {
        fail(tr("The cloud's port is not between 1 and 65535"), correct);
    } else if (!QSSEManager::isTrustedAddress(registrar)) {
        fail(tr("The registration server's address is neither HTTPS nor this computer"),
             tr("Ask the administrator to correct it"));
    } else {
        pass(tr("Cloud: %1, port %2. Registration server: %3")
                 .arg(m_host, QString::number(port), registrar.host()));
    }
}

void ConnectionCheck::lookUpHost()
{
    if (skipWithout(m_hasSettings)) {
        return;
    }
    QHostInfo::lookupHost(m_host, m_context.get(), [this](const QHostInfo &info) {
        QStringList addresses;
        for (const QHostAddress &address : info.addresses()) {
            addresses += address.toString();
        }
        m_hasAddress = !addresses.isEmpty();
        if (m_hasAddress) {
            pass(addresses.mid(0, 4).join(QLatin1String(", ")));
        } else {
            fail(ConnectionFailure::ofSocket(QAbstractSocket::HostNotFoundError));
        }
    });
}

void ConnectionCheck::connectToPort()
{
    if (skipWithout(m_hasAddress)) {
        return;
    }
    m_socket = std::make_unique<QSslSocket>();
    QSslSocket *const socket = m_socket.get();
    connect(socket, &QSslSocket::connected, m_context.get(), [this, socket] {
        m_hasPort = true;
        pass(tr("%1, port %2 answers").arg(socket->peerAddress().toString()).arg(m_port));
    });
    connect(
        socket, &QAbstractSocket::errorOccurred, m_context.get(),
        [this](QAbstractSocket::SocketError error) { fail(ConnectionFailure::ofSocket(error)); });
    socket->connectToHost(m_host, m_port);
}

void ConnectionCheck::encrypt()
{
    if (skipWithout(m_hasPort)) {
        return;
    }
    QSslSocket *const socket = m_socket.get();
    const CredentialStore credentials;
    const bool sendsOwn = credentials.fault().isNull(); // else that is the next step's matter
    connect(socket, &QSslSocket::encrypted, m_context.get(), [this, socket] {
        m_hasEncryption = true;
        const QSslCertificate certificate = socket->peerCertificate();
        pass(tr("The broker's certificate is issued by %1 and valid until %2")
                 .arg(issuerOf(certificate), dateText(certificate.expiryDate())));
    });
    connect(socket, QOverload<const QList<QSslError> &>::of(&QSslSocket::sslErrors),
            m_context.get(), [this, socket](const QList<QSslError> &errors) {
                ConnectionFailure failure = ConnectionFailure::of(errors.value(0));
                failure.detail += tr(" (issued by %1)").arg(issuerOf(socket->peerCertificate()));
                fail(failure);
            });
    connect(socket, &QAbstractSocket::errorOccurred, m_context.get(),
            [this, socket, sendsOwn](QAbstractSocket::SocketError error) {
                if (!sendsOwn && !socket->peerCertificate().isNull()) {
                    skip(tr("The broker tells nothing without this gateway's certificate"));
                } else {
                    fail(ConnectionFailure::ofSocket(error, socket->errorString()));
                }
            });
    QSslConfiguration tls = cloudTls(credentials);
    if (!sendsOwn) {
        tls.setLocalCertificate(QSslCertificate());
        tls.setPrivateKey(QSslKey());
    }
    socket->setSslConfiguration(tls);
    socket->startClientEncryption();
}

void ConnectionCheck::checkCredentials()
{
    m_socket.reset();
    const CredentialStore credentials;
    if (m_gateway.regid().isEmpty()) {
        skip(tr("This gateway is not registered"));
        return;
    }
    const ConnectionFailure fault = credentials.fault();
    m_hasCredentials = fault.isNull();
    if (!m_hasCredentials) {
        fail(fault);
        return;
    }
    const QSslCertificate certificate = credentials.certificate();
    pass(tr("Issued by %1 and valid until %2")
             .arg(issuerOf(certificate), dateText(certificate.expiryDate())));
}

void ConnectionCheck::signIn()
{
    const VelmorCloudClient &client = m_gateway.client();
    if (client.isConnected()) {
        readLink();
    } else if (m_gateway.regid().isEmpty()) {
        skip(tr("This gateway is not registered"));
    } else if (!skipWithout(m_hasEncryption && m_hasCredentials)) {
        const QPointer<QObject> context = m_context.get();
        emit reconnectRequested(); // in its event loop, the check may be cancelled
        if (!context.isNull()) {
            connect(&client, &VelmorCloudClient::linkChanged, context, [this] { readLink(); });
            readLink();
        }
    }
}

void ConnectionCheck::readLink()
{
    const VelmorCloudClient &client = m_gateway.client();
    if (client.isConnected()) {
        pass(tr("Connected since %1")
                 .arg(dateText(QDateTime::fromMSecsSinceEpoch(client.connectedSince()))));
    } else if (!client.failure().isNull()) {
        fail(client.failure());
    }
}

void ConnectionCheck::askRegistrar()
{
    const QUrl url(SettingsStore().value(keys::RegistrarEndpoint));
    if (skipWithout(QSSEManager::isTrustedAddress(url))) {
        return;
    }
    auto *const network = new QNetworkAccessManager(m_context.get());
    if (url.scheme() == QLatin1String("http")) {
        network->setProxy(QNetworkProxy::NoProxy); // to this computer
    }
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         QNetworkRequest::AlwaysNetwork);
    QNetworkReply *const reply = network->get(request);
    // The headers are enough; a registrar may keep the answer open.
    const auto read = [this, reply] { readAnswer(reply); };
    connect(reply, &QNetworkReply::metaDataChanged, m_context.get(), read);
    connect(reply, &QNetworkReply::finished, m_context.get(), read);
}

void ConnectionCheck::readAnswer(QNetworkReply *reply)
{
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    reply->disconnect(m_context.get());
    if (status == 0) {
        fail(reply->errorString(),
             tr("Check the network, the firewall and the registration server's address. An open "
                "connection to the cloud works without this server."));
        return;
    }
    QByteArray date = reply->rawHeader("Date");
    date.replace(" GMT", " +0000"); // all that Qt reads
    m_serverTime = QDateTime::fromString(QString::fromLatin1(date), Qt::RFC2822Date);
    if (status >= firstServerError) {
        fail(tr("%1 answers with the error %2").arg(reply->url().host()).arg(status),
             tr("It is out of service: try again later"));
    } else {
        pass(tr("%1 answers").arg(reply->url().host()));
    }
}

void ConnectionCheck::checkClock()
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QDate released = QDate::fromString(QLatin1String(defaults::ReleaseDate), Qt::ISODate);
    const qint64 error = m_serverTime.isValid() ? m_serverTime.secsTo(now) : 0;
    if (now.date() < released || qAbs(error) > maxClockError) {
        fail(m_serverTime.isValid()
                 ? tr("It is %1 here, %2 on the server").arg(dateText(now), dateText(m_serverTime))
                 : tr("It is %1 here, before this version was made").arg(dateText(now)),
             tr("Set the date and the time of this computer: certificates are valid for a time"));
    } else if (m_serverTime.isValid()) {
        pass(tr("It differs from the server's by %1 s").arg(qAbs(error)));
    } else {
        skip(tr("It is %1 here; no server told its time").arg(dateText(now)));
    }
}

void ConnectionCheck::checkFolder()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    const QString file = folder + QLatin1String("/check.tmp");
    QString error;
    QDir().mkpath(folder);
    const bool writable = replacePrivateFile(file, "check", error);
    QFile::remove(file);
    constexpr qint64 mebibyte = 1024LL * 1024;
    const qint64 room = QStorageInfo(folder).bytesAvailable() / mebibyte;
    const int wanted = SettingsStore().value(keys::QueueSize);
    if (!writable) {
        fail(tr("%1 cannot be written: %2").arg(QDir::toNativeSeparators(folder), error),
             tr("Check the rights of this folder and the room on the disk"));
    } else if (room < wanted) {
        fail(tr("%1 MB are free, %2 may be needed for waiting states").arg(room).arg(wanted),
             tr("Make room on the disk, or states may be lost while the cloud is away"));
    } else if (const QString fault = m_gateway.client().outbox().fault(); !fault.isEmpty()) {
        fail(fault, tr("Make room on the disk, or states may be lost while the cloud is away"));
    } else {
        pass(tr("%1 can be written, %2 MB are free")
                 .arg(QDir::toNativeSeparators(folder), QLocale().toString(room)));
    }
}
