#include "app/singleapphandler.h"

#include "app/log.h"
#include "app/platform/foreground.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QSharedMemory>
#include <QSystemSemaphore>
#include <QThread>

#include <algorithm>
#include <chrono>
#include <future>
#include <thread>
#include <utility>

using namespace std::chrono_literals;

namespace {

constexpr int longestWait = 500;      // milliseconds, for the connection
constexpr int longestDelivery = 5000; // milliseconds; from a pipe, bytes leave when they are read
constexpr std::chrono::milliseconds longestCheck = 3s; // takes some milliseconds as a rule

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

struct Claim
{
    bool isSecond = false;
    std::unique_ptr<QSharedMemory> segment; // null when none could be had
    QString name;                           // of the segment
};

Claim takeSegment(const QStringList &names)
{
    Claim claim;
    for (const QString &name : names) {
        if (isHeld(name)) {
            claim.isSecond = true;
            return claim;
        }
    }
    for (const QString &name : names) {
        auto segment = std::make_unique<QSharedMemory>(name);
        // What is in the way may be an orphan that only the key file just made leads to, or the
        // segment of one who did not have to wait for the semaphore.
        if (!segment->create(1) && isHeld(name)) {
            claim.isSecond = true;
            return claim;
        }
        if (segment->isAttached() || segment->create(1)) {
            claim.segment = std::move(segment);
            claim.name = name;
            return claim;
        }
    }
    return claim;
}

Claim takeSegmentInTurn(const QString &key, const QStringList &names)
{
    // The system gives back what a process that dies has acquired. Another user's semaphore is
    // not to be had, and need not be: it would only keep out those who compete for his names.
    QSystemSemaphore turn(key + QLatin1String("_semaphore"), 1);
    const bool acquired = turn.acquire();
    Claim claim = takeSegment(names);
    if (acquired) {
        turn.release();
    }
    return claim;
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
    // Asked first: this needs no key files, which lie in the folder for temporary files, where
    // the system may tidy them away below an instance that runs for weeks.
    if (isAnswered()) {
        return false;
    }
    // On a thread of its own, to be left behind: a semaphore knows no limit of time, and may be
    // kept by a process that was stopped, by another user, or by ourselves, when the system has
    // given the number of a key file that was removed to another.
    std::packaged_task<Claim()> task(
        [key = m_key, names = m_names] { return takeSegmentInTurn(key, names); });
    std::future<Claim> asked = task.get_future();
    std::thread(std::move(task)).detach();
    Claim claim;
    if (asked.wait_for(longestCheck) == std::future_status::ready) {
        claim = asked.get();
    } else {
        claim.isSecond = isAnswered();
    }
    if (claim.isSecond) {
        return false;
    }
    if (!claim.segment) {
        qCWarning(lcApp, "No shared memory: other instances are noticed by their socket only");
    }
    m_segment = std::move(claim.segment);
    listen(m_segment ? m_names.mid(m_names.indexOf(claim.name)) : m_names.mid(1));
    return true;
}

bool SingleAppHandler::isAnswered() const
{
    return std::any_of(m_names.begin(), m_names.end(), [](const QString &name) {
        QLocalSocket socket;
        socket.connectToServer(name);
        return socket.waitForConnected(longestWait);
    });
}

// Under the first name that can be had. On Windows, a segment is one session's and a pipe the whole
// computer's: when the segment was free, the pipe may still be that of another user who is logged
// on.
void SingleAppHandler::listen(const QStringList &names)
{
    m_server = std::make_unique<QLocalServer>();
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    connect(m_server.get(), &QLocalServer::newConnection, this,
            &SingleAppHandler::processConnection);
    for (const QString &name : names) {
        QLocalServer::removeServer(name);
        if (m_server->listen(name)) {
            return;
        }
    }
    qCWarning(lcApp).noquote() << "A second start cannot be heard:" << m_server->errorString();
}

void SingleAppHandler::sendMessage(const QString &message)
{
    // The first instance may still be about to listen.
    for (QDeadlineTimer left(longestWait); !left.hasExpired(); QThread::msleep(10)) {
        for (const QString &name : m_names) {
            QLocalSocket socket;
            socket.connectToServer(name);
            if (socket.waitForConnected(static_cast<int>(left.remainingTime()))) {
                grantForeground(socket);
                socket.write(message.toUtf8() + '\n');
                while (socket.bytesToWrite() > 0 && socket.waitForBytesWritten(longestDelivery)) {
                }
                return;
            }
        }
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
    receive(qobject_cast<QLocalSocket *>(sender()));
}

void SingleAppHandler::receive(QLocalSocket *client)
{
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
        m_received.erase(received);
        client->abort();
        client->deleteLater();
    }
    for (const QString &message : qAsConst(messages)) {
        emit incomingMessage(message);
    }
}

void SingleAppHandler::processDisconnected()
{
    auto *const client = qobject_cast<QLocalSocket *>(sender());
    receive(client); // on Windows, the end may be told before the last bytes
    if (m_received.remove(client) > 0) {
        client->deleteLater();
    }
}
