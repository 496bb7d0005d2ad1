#include "app/singleapphandler.h"

#include "app/log.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QSharedMemory>
#include <QSystemSemaphore>

namespace {

constexpr int wait = 500; // milliseconds

QString hashed(const QString &text)
{
    return QString::fromLatin1(
        QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Sha256).toHex());
}

// Somebody alive holds the segment of this name. On Unix a segment outlives a holder that
// crashed; the last one to detach removes it, which is what the first attachment is for.
bool isHeld(const QString &name)
{
    {
        QSharedMemory orphan(name);
        if (orphan.attach()) {
            orphan.detach();
        }
    }
    QSharedMemory segment(name);
    return segment.attach();
}

// The segment's key file lies in the folder for temporary files, where the system may tidy it
// away below an instance that runs for weeks; its socket is spared as long as it is in use.
bool answers(const QString &name)
{
    QLocalSocket socket;
    socket.connectToServer(name);
    return socket.waitForConnected(wait);
}

} // namespace

SingleAppHandler::SingleAppHandler(QObject *parent)
    : QObject(parent)
    , m_key(hashed(QCoreApplication::applicationName()))
    , m_names{m_key,
              hashed(QCoreApplication::applicationName() + QLatin1Char('\n') + QDir::homePath())}
{
}

SingleAppHandler::~SingleAppHandler()
{
    if (m_server) {
        m_server->disconnect(this);
    }
    for (auto client = m_received.keyBegin(); client != m_received.keyEnd(); ++client) {
        (*client)->disconnect(this);
    }
}

bool SingleAppHandler::isFirstInstance()
{
    if (m_server) {
        return true;
    }
    // The system gives back what a process that dies has acquired. Another user's semaphore is
    // not to be had, and need not be: it would only keep out those who compete for his names.
    QSystemSemaphore turn(m_key + QLatin1String("_semaphore"), 1);
    const bool acquired = turn.acquire();
    const bool first = takeSegment();
    if (first) {
        listen(); // before the next one's turn, which then finds somebody to talk to
    }
    if (acquired) {
        turn.release();
    }
    return first;
}

bool SingleAppHandler::takeSegment()
{
    for (const QString &name : m_names) {
        if (isHeld(name) || answers(name)) {
            return false;
        }
    }
    for (const QString &name : m_names) {
        m_segment = std::make_unique<QSharedMemory>(name);
        // What is in the way may be an orphan that only the key file just made leads to, or the
        // segment of one who did not have to wait for the semaphore.
        if (!m_segment->create(1) && isHeld(name)) {
            m_segment.reset();
            return false;
        }
        if (m_segment->isAttached() || m_segment->create(1)) {
            m_name = name;
            return true;
        }
    }
    qCWarning(lcApp).noquote() << "A second start will not be noticed:" << m_segment->errorString();
    m_segment.reset();
    m_name = m_names.last();
    return true;
}

void SingleAppHandler::listen()
{
    m_server = std::make_unique<QLocalServer>();
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    connect(m_server.get(), &QLocalServer::newConnection, this,
            &SingleAppHandler::processConnection);
    QLocalServer::removeServer(m_name);
    if (!m_server->listen(m_name)) {
        qCWarning(lcApp).noquote() << "A second start cannot be heard:" << m_server->errorString();
    }
}

void SingleAppHandler::sendMessage(const QString &message)
{
    for (const QString &name : m_names) {
        QLocalSocket socket;
        socket.connectToServer(name);
        if (!socket.waitForConnected(wait)) {
            continue;
        }
        socket.write(message.toUtf8() + '\n');
        while (socket.bytesToWrite() > 0 && socket.waitForBytesWritten(wait)) {
        }
        socket.disconnectFromServer();
        return;
    }
}

void SingleAppHandler::processConnection()
{
    while (QLocalSocket *const client = m_server->nextPendingConnection()) {
        if (m_received.size() >= mostClients) {
            client->abort();
            client->deleteLater();
            continue;
        }
        // What does not fit stays with the sender.
        client->setReadBufferSize(longestMessage);
        connect(client, &QLocalSocket::disconnected, this, &SingleAppHandler::processDisconnected);
        connect(client, &QLocalSocket::readyRead, this, &SingleAppHandler::clientReadyRead);
        m_received.insert(client, {});
    }
}

void SingleAppHandler::clientReadyRead()
{
    auto *const client = qobject_cast<QLocalSocket *>(sender());
    const auto received = m_received.find(client);
    if (received == m_received.end()) {
        return;
    }
    // Bytes until a message is whole: a piece may end inside of a character.
    *received += client->readAll();
    QStringList messages;
    int start = 0;
    for (int end = received->indexOf('\n'); end >= 0; end = received->indexOf('\n', start)) {
        messages.append(QString::fromUtf8(received->mid(start, end - start)));
        start = end + 1;
    }
    received->remove(0, start);
    if (received->size() > longestMessage) {
        client->abort();
    }
    for (const QString &message : qAsConst(messages)) {
        emit incomingMessage(message);
    }
}

void SingleAppHandler::processDisconnected()
{
    auto *const client = qobject_cast<QLocalSocket *>(sender());
    if (m_received.remove(client) > 0) {
        client->deleteLater();
    }
}
