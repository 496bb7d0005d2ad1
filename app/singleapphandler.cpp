#include "app/singleapphandler.h"

#include "app/log.h"
#include "app/platform/foreground.h"
#include "app/platform/ownership.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QLocalServer>
#include <QLocalSocket>
#include <QSharedMemory>
#include <QStandardPaths>
#include <QSysInfo>
#include <QSystemSemaphore>
#include <QThread>

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

// One for each folder for temporary files, since the guard's shared names lie there, and for each
// computer, since several may share the home folder.
QString privateFolder()
{
    const QString place =
        QDir::tempPath() + QLatin1Char('\n') + QString::fromLatin1(QSysInfo::machineUniqueId());
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) +
           QLatin1String("/guard-") + hashed(place).left(8);
}

struct Claim
{
    bool isSecond = false;
    std::unique_ptr<QSharedMemory> segment;
    QString error; // when there is no segment
};

Claim claimSegment(const QString &key)
{
    // The system gives back what a process that dies has acquired. Without access to the
    // semaphore, which is another user's then, the lock file has to do.
    QSystemSemaphore turn(key + QLatin1String("_semaphore"), 1);
    const bool acquired = turn.acquire();
    Claim claim;
    // On Unix, a segment outlives a process that crashed, until the last one detaches. Removing it
    // removes the key file too, and the next key file may lead to a second such leftover.
    for (int attempt = 0; attempt < 3 && !claim.segment && !claim.isSecond; ++attempt) {
        auto segment = std::make_unique<QSharedMemory>(key);
        if (segment->create(1)) {
            claim.segment = std::move(segment);
            break;
        }
        claim.error = segment->errorString();
        if (segment->attach()) {
            segment->detach();
        }
        claim.isSecond = segment->attach() && !isOtherUsersSegment(*segment);
    }
    if (acquired) {
        turn.release();
    }
    return claim;
}

} // namespace

SingleAppHandler::SingleAppHandler(QObject *parent)
    : QObject(parent)
    , m_key(hashed(QCoreApplication::applicationName()))
    , m_folder(privateFolder())
    , m_names{m_key, serverNameIn(m_folder, hashed(QCoreApplication::applicationName() +
                                                   QLatin1Char('\n') + QDir::homePath()))}
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
    if (!lock()) {
        return false;
    }
    // On a thread of its own, to be left behind: a semaphore knows no time limit, and may be kept
    // by a process that was stopped, by another user, or by ourselves, when the system has given
    // the number of a key file that was removed to another.
    std::packaged_task<Claim()> task([key = m_key] { return claimSegment(key); });
    std::future<Claim> asked = task.get_future();
    std::thread(std::move(task)).detach();
    Claim claim;
    if (asked.wait_for(longestCheck) == std::future_status::ready) {
        claim = asked.get();
    } else {
        claim.error = QStringLiteral("another process held the semaphore for three seconds");
    }
    if (claim.isSecond || !listen()) {
        m_lock.reset();
        return false;
    }
    m_segment = std::move(claim.segment);
    if (!m_segment) {
        qCWarning(lcApp).noquote().nospace()
            << "Started without the shared memory that marks a running instance (" << claim.error
            << "). Another user may hold it. The lock file replaces it.";
    }
    return true;
}

// False when another instance holds the lock.
bool SingleAppHandler::lock()
{
    QDir().mkpath(m_folder);
    // Who can open a file can lock it.
    QFile::setPermissions(m_folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    m_lock = std::make_unique<QFile>(m_folder + QLatin1String("/lock"));
    if (!m_lock->open(QIODevice::ReadWrite)) {
        qCWarning(lcApp).noquote()
            << "No lock file against a second instance:" << m_lock->fileName()
            << m_lock->errorString();
        return true;
    }
    return tryLock(*m_lock);
}

// False when another instance of this user listens.
bool SingleAppHandler::listen()
{
    m_server = std::make_unique<QLocalServer>();
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    connect(m_server.get(), &QLocalServer::newConnection, this,
            &SingleAppHandler::processConnection);
    for (const QString &name : m_names) {
        QLocalSocket socket;
        socket.connectToServer(name);
        QString error;
        if (socket.waitForConnected(longestWait)) {
            if (isOwnServer(socket)) {
                m_server.reset();
                return false;
            }
            error = QStringLiteral("another user listens there");
        } else if (socket.error() != QLocalSocket::ServerNotFoundError &&
                   socket.error() != QLocalSocket::ConnectionRefusedError) {
            error = socket.errorString();
        } else {
            QLocalServer::removeServer(name);
            if (m_server->listen(name)) {
                qCInfo(lcApp).noquote()
                    << "Listening for a second start on" << m_server->fullServerName();
                break;
            }
            error = m_server->errorString();
        }
        qCWarning(lcApp).noquote() << "Cannot listen on" << name << '-' << error;
    }
    return true;
}

void SingleAppHandler::sendMessage(const QString &message)
{
    // The first instance may still be about to listen.
    for (QDeadlineTimer left(longestWait); !left.hasExpired(); QThread::msleep(10)) {
        for (const QString &name : m_names) {
            QLocalSocket socket;
            socket.connectToServer(name);
            if (socket.waitForConnected(static_cast<int>(left.remainingTime())) &&
                isOwnServer(socket)) {
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
