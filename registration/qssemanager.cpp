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

// How much may wait unread; with it a flood stays in the network, not in memory.
constexpr qint64 readBuffer = 1 << 20;

bool isPlain(const QUrl &url)
{
    return url.scheme() == QLatin1String("http");
}

// What a user can do about the end of a stream, for the log.
const char *cureFor(QNetworkReply::NetworkError error)
{
    switch (error) {
    case QNetworkReply::ConnectionRefusedError:
        return "nobody listens there: check the firewall";
    case QNetworkReply::HostNotFoundError:
        return "the name cannot be looked up: check the network";
    case QNetworkReply::TimeoutError:
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::UnknownNetworkError:
        return "no way to the registrar: check the network and the firewall";
    case QNetworkReply::SslHandshakeFailedError:
        return "no secure connection: check the date and the time of this computer, and what "
               "stands between, a proxy or a virus scanner";
    case QNetworkReply::ProxyConnectionRefusedError:
    case QNetworkReply::ProxyConnectionClosedError:
    case QNetworkReply::ProxyNotFoundError:
    case QNetworkReply::ProxyTimeoutError:
    case QNetworkReply::ProxyAuthenticationRequiredError:
    case QNetworkReply::UnknownProxyError:
        return "check the proxy in the settings of this computer";
    case QNetworkReply::RemoteHostClosedError:
        return "the registrar hung up: try again";
    default:
        return "try again later";
    }
}

bool mayCarryCredentials(const QUrl &url)
{
    if (!url.isValid() || url.host().isEmpty()) {
        return false;
    }
    if (!isPlain(url)) {
        return url.scheme() == QLatin1String("https");
    }
    const QHostAddress address(url.host());
    return url.host() == QLatin1String("localhost") || address == QHostAddress::LocalHostIPv6 ||
           address.isInSubnet(QHostAddress(QStringLiteral("127.0.0.0")), 8);
}

} // namespace

// Stands on the stack while a signal of a reply is delivered.
class QSSEManager::Delivery
{
public:
    explicit Delivery(QSSEManager *client)
        : m_client(client)
        , m_stream(client->m_stream)
    {
        ++client->m_deliveries;
    }
    ~Delivery()
    {
        if (m_client) {
            --m_client->m_deliveries;
        }
    }
    Q_DISABLE_COPY(Delivery)
    // The client still exists and is on the stream that it was on.
    bool goesOn() const { return m_client && m_client->m_stream == m_stream; }

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
    if (m_deliveries > 0) {
        m_manager->setParent(nullptr);
        m_manager->deleteLater();
    } else {
        delete m_manager;
    }
}

bool QSSEManager::open(const QString &url, const QJsonObject &query)
{
    QUrl address(url, QUrl::TolerantMode);
    if (!query.isEmpty()) {
        QUrlQuery items;
        for (auto item = query.begin(); item != query.end(); ++item) {
            // Encoded here: a value's own "%" would count as an escape, its "+" as a blank.
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
    if (!mayCarryCredentials(url)) {
        qCWarning(lcRegistration) << "not opened: neither HTTPS nor an HTTP address of this"
                                  << "computer:" << url.scheme() << url.host();
        return false;
    }
    release();
    if (m_manager == nullptr) {
        m_manager = new QNetworkAccessManager(this);
    }
    // A proxy would carry plain text away from this computer.
    m_manager->setProxy(isPlain(url) ? QNetworkProxy::NoProxy : QNetworkProxy::DefaultProxy);

    QNetworkRequest request(url);
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED // its successor sets the same policy: never less safe
        request.setAttribute(QNetworkRequest::FollowRedirectsAttribute, true);
    QT_WARNING_POP
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
    qCInfo(lcRegistration).noquote() << "asks the registrar" << url.host();
    m_reply->setReadBufferSize(readBuffer);
    m_parser.reset();
    connect(m_reply, &QNetworkReply::readyRead, this, &QSSEManager::dataReceived);
    connect(m_reply, &QNetworkReply::errorOccurred, this, &QSSEManager::error);
    connect(m_reply, &QNetworkReply::redirected, this, &QSSEManager::redirected);
    connect(m_reply, &QNetworkReply::sslErrors, this, [](const QList<QSslError> &errors) {
        for (const QSslError &error : errors) {
            qCWarning(lcRegistration).noquote() << "registrar not believed:" << error.errorString();
        }
    });
    connect(m_reply, &QNetworkReply::finished, this, &QSSEManager::replyFinished);
    return true;
}

bool QSSEManager::isOpen() const
{
    // A finished reply goes on saying that it is open.
    return m_reply != nullptr && m_reply->isOpen() && !m_reply->isFinished();
}

void QSSEManager::setLimits(const EventStreamParser::Limits &limits)
{
    m_parser.setLimits(limits);
}

int QSSEManager::retry() const
{
    return m_parser.retry();
}

bool QSSEManager::isSilent() const
{
    return m_silent;
}

void QSSEManager::setSilent(bool on)
{
    m_silent = on;
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
    const Delivery delivery(this);
    while (m_reply->bytesAvailable() > 0) {
        m_parser.feed(m_reply->readAll());
        EventStreamParser::Event event;
        EventStreamParser::Step step = m_parser.next(event);
        for (; step == EventStreamParser::Step::HasEvent; step = m_parser.next(event)) {
            emit dataReady(event.type, event.data, event.id);
            if (!delivery.goesOn()) {
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
    // The end of the reply reports it. Only of a handshake the text, that of others may name the
    // query.
    const bool handshake = code == QNetworkReply::SslHandshakeFailedError;
    const int status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    qCWarning(lcRegistration).noquote()
        << "stream ends with" << code << "HTTP status" << status
        << (handshake ? m_reply->errorString() : QString()) << "-" << cureFor(code);
}

void QSSEManager::redirected(const QUrl &url)
{
    if (m_reply != nullptr && !mayCarryCredentials(url)) {
        const Delivery delivery(this);
        fail("redirected to an address that must not carry credentials");
    }
}

void QSSEManager::sse_finished()
{
    if (m_reply == nullptr) {
        return;
    }
    const Delivery delivery(this);
    dataReceived();
    if (delivery.goesOn()) {
        release();
        announceEnd();
    }
}

void QSSEManager::replyFinished()
{
    const Delivery delivery(this);
    dataReceived();
    if (delivery.goesOn()) {
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

void QSSEManager::announceEnd()
{
    const QPointer<QSSEManager> self(this);
    emit finished();
    if (self) {
        emit closed();
    }
}

void QSSEManager::fail(const char *reason)
{
    qCWarning(lcRegistration) << "stream given up:" << reason;
    release();
    announceEnd();
}
