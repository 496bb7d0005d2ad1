#include "registration/qssemanager.h"

#include "registration/log.h"

#include <QHostAddress>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkRequest>
#include <QPointer>
#include <QSslConfiguration>
#include <QSslError>
#include <QUrlQuery>

#include <utility>

Q_LOGGING_CATEGORY(lcRegistration, "kvg.registration")

namespace {

constexpr qint64 maxUnreadBytes = 1 << 20;

bool isUnencrypted(const QUrl &url)
{
    return url.scheme() == QLatin1String("http");
}

// For the log: what the user can do about the error.
const char *adviceFor(QNetworkReply::NetworkError error)
{
    switch (error) {
    case QNetworkReply::ConnectionRefusedError:
        return "no server at that address: check the firewall";
    case QNetworkReply::HostNotFoundError:
        return "host name lookup failed: check the network";
    case QNetworkReply::TimeoutError:
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::UnknownNetworkError:
        return "the registrar cannot be reached: check the network and the firewall";
    case QNetworkReply::SslHandshakeFailedError:
        return "TLS handshake failed: check the date and the time of this computer, and for a "
               "proxy or a virus scanner in between";
    case QNetworkReply::ProxyConnectionRefusedError:
    case QNetworkReply::ProxyConnectionClosedError:
    case QNetworkReply::ProxyNotFoundError:
    case QNetworkReply::ProxyTimeoutError:
    case QNetworkReply::ProxyAuthenticationRequiredError:
    case QNetworkReply::UnknownProxyError:
        return "check the proxy in the settings of this computer";
    case QNetworkReply::RemoteHostClosedError:
        return "the registrar closed the connection: try again";
    default:
        return "try again later";
    }
}

} // namespace

// On the stack while a signal of the reply is handled.
class QSSEManager::SignalGuard
{
public:
    explicit SignalGuard(QSSEManager *client)
        : m_client(client)
        , m_stream(client->m_stream)
    {
        ++client->m_signalDepth;
    }
    ~SignalGuard()
    {
        if (m_client) {
            --m_client->m_signalDepth;
        }
    }
    Q_DISABLE_COPY(SignalGuard)
    // False if a handler destroyed the client or ended the stream.
    bool isStreamCurrent() const { return m_client && m_client->m_stream == m_stream; }

private:
    QPointer<QSSEManager> m_client;
    quint64 m_stream;
};

QSSEManager::QSSEManager(QObject *parent)
    : QObject(parent)
{
}

QSSEManager::~QSSEManager()
{
    release();
    if (m_signalDepth > 0) { // the reply, a child of the manager, is emitting the present signal
        m_manager->setParent(nullptr);
        m_manager->deleteLater();
    }
}

bool QSSEManager::open(const QString &url, const QJsonObject &query)
{
    QUrl address(url, QUrl::TolerantMode);
    if (!query.isEmpty()) {
        QUrlQuery items;
        for (auto item = query.begin(); item != query.end(); ++item) {
            // QUrlQuery takes "%" for an escape and leaves "+", which servers read as a blank.
            items.addQueryItem(
                QString::fromLatin1(QUrl::toPercentEncoding(item.key())),
                QString::fromLatin1(QUrl::toPercentEncoding(item.value().toString())));
        }
        address.setQuery(items);
    }
    return request(address);
}

bool QSSEManager::request(const QUrl &url)
{
    if (isOpen()) {
        return false;
    }
    if (!isTrustedAddress(url)) {
        qCWarning(lcRegistration) << "Registrar address rejected, neither HTTPS nor HTTP to this"
                                  << "computer:" << url.scheme() << url.host();
        return false;
    }
    release();
    if (m_manager == nullptr) {
        m_manager = new QNetworkAccessManager(this);
    }
    // Unencrypted requests must not leave this computer through a proxy.
    m_manager->setProxy(isUnencrypted(url) ? QNetworkProxy::NoProxy : QNetworkProxy::DefaultProxy);

    QNetworkRequest request(url);
    // Qt's other policies have begun the next request when redirected() is emitted.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::UserVerifiedRedirectPolicy);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         QNetworkRequest::AlwaysNetwork);
    QSslConfiguration tls = request.sslConfiguration();
    tls.setProtocol(QSsl::TlsV1_2OrLater);
    request.setSslConfiguration(tls);
    m_reply = m_manager->get(request);
    if (m_reply == nullptr) {
        std::exchange(m_manager, nullptr)->deleteLater();
        return false;
    }
    qCInfo(lcRegistration).noquote() << "Connecting to the registrar" << url.host();
    m_reply->setReadBufferSize(maxUnreadBytes);
    m_parser.reset();
    connect(m_reply, &QNetworkReply::readyRead, this, &QSSEManager::dataReceived);
    connect(m_reply, &QNetworkReply::errorOccurred, this, &QSSEManager::error);
    connect(m_reply, &QNetworkReply::redirected, this, &QSSEManager::redirected);
    connect(m_reply, &QNetworkReply::sslErrors, this, [](const QList<QSslError> &errors) {
        for (const QSslError &error : errors) {
            qCWarning(lcRegistration).noquote()
                << "Registrar certificate rejected:" << error.errorString();
        }
    });
    connect(m_reply, &QNetworkReply::finished, this, &QSSEManager::replyFinished);
    return true;
}

bool QSSEManager::isOpen() const
{
    // QNetworkReply::isOpen() stays true when the reply has finished.
    return m_reply != nullptr && m_reply->isOpen() && !m_reply->isFinished();
}

void QSSEManager::setLimits(const EventStreamParser::Limits &limits)
{
    m_parser.setLimits(limits);
}

bool QSSEManager::isTrustedAddress(const QUrl &url)
{
    if (!url.isValid() || url.host().isEmpty()) {
        return false;
    }
    if (!isUnencrypted(url)) {
        return url.scheme() == QLatin1String("https");
    }
    const QHostAddress address(url.host());
    return url.host() == QLatin1String("localhost") || address == QHostAddress::LocalHostIPv6 ||
           address.isInSubnet(QHostAddress(QStringLiteral("127.0.0.0")), 8);
}

int QSSEManager::retry() const
{
    return m_parser.retry();
}

void QSSEManager::close()
{
    if (m_reply == nullptr) {
        return;
    }
    const QPointer<QSSEManager> self(this);
    const bool wasOpen = isOpen();
    release();
    if (wasOpen) {
        emit disconnected();
    }
    if (self) {
        emit closed();
    }
}

void QSSEManager::closeLater()
{
    QMetaObject::invokeMethod(
        this,
        [this, stream = m_stream] {
            if (stream == m_stream) {
                close();
            }
        },
        Qt::QueuedConnection);
}

void QSSEManager::dataReceived()
{
    if (m_reply == nullptr) {
        return;
    }
    const SignalGuard guard(this);
    while (m_reply->bytesAvailable() > 0) {
        m_parser.feed(m_reply->readAll());
        EventStreamParser::Event event;
        EventStreamParser::Step step = m_parser.next(event);
        for (; step == EventStreamParser::Step::HasEvent; step = m_parser.next(event)) {
            emit dataReady(event.type, event.data, event.id);
            if (!guard.isStreamCurrent()) {
                return;
            }
        }
        if (step == EventStreamParser::Step::TooLong) {
            fail("a line or an event is too long");
            return;
        }
    }
}

void QSSEManager::error(QNetworkReply::NetworkError code)
{
    if (m_reply == nullptr) {
        return;
    }
    // Log Qt's text for handshake errors only: others may contain the query, i.e. the document.
    // finished() reports the failure.
    const bool handshake = code == QNetworkReply::SslHandshakeFailedError;
    const int status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    qCWarning(lcRegistration).noquote()
        << "Registrar stream failed:" << code << "HTTP status" << status
        << (handshake ? m_reply->errorString() : QString()) << "-" << adviceFor(code);
}

void QSSEManager::redirected(const QUrl &url)
{
    if (m_reply == nullptr) {
        return;
    }
    const bool lessSafe = isUnencrypted(url) && !isUnencrypted(m_reply->request().url());
    if (isTrustedAddress(url) && !lessSafe) {
        emit m_reply->redirectAllowed();
        return;
    }
    const SignalGuard guard(this);
    fail(lessSafe ? "redirected from HTTPS to HTTP"
                  : "redirected to an address that is neither HTTPS nor this computer");
}

void QSSEManager::sse_finished()
{
    if (m_reply == nullptr) {
        return;
    }
    const SignalGuard guard(this);
    dataReceived();
    if (guard.isStreamCurrent()) {
        release();
        emitFinished();
    }
}

void QSSEManager::replyFinished()
{
    const SignalGuard guard(this);
    dataReceived();
    if (guard.isStreamCurrent()) {
        emit finished();
    }
}

void QSSEManager::release()
{
    ++m_stream;
    if (m_reply == nullptr) {
        return;
    }
    QNetworkReply *reply = std::exchange(m_reply, nullptr);
    reply->disconnect(this);
    reply->abort();
    reply->close();
    reply->deleteLater();
}

void QSSEManager::emitFinished()
{
    const QPointer<QSSEManager> self(this);
    emit finished();
    if (self) {
        emit closed();
    }
}

void QSSEManager::fail(const char *reason)
{
    qCWarning(lcRegistration) << "Registrar stream closed:" << reason;
    release();
    emitFinished();
}
