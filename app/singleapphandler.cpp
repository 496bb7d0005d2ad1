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

#include <future>
#include <thread>
#include <utility>

namespace {

QString sha256(const QString &text)
{
    return QString::fromLatin1(
        QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Sha256).toHex());
}

// A folder for each folder of temporary files, where the guard's shared names are, and for each
// computer, as several may share a home folder.
QString privateFolder()
{
    const QString scope =
        QDir::tempPath() + QLatin1Char('\n') + QString::fromLatin1(QSysInfo::machineUniqueId());
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) +
           QLatin1String("/guard-") + sha256(scope).left(8);
}

struct Claim
{
    bool isSecond = false;
    std::unique_ptr<QSharedMemory> segment;
    QString error; // when there is no segment
};

Claim claimSegment(const QString &key)
{
    // The system releases the semaphore of a process that dies. Without access to it, as when it is
    // another user's, the lock file alone keeps a second instance out.
    QSystemSemaphore semaphore(key + QLatin1String("_semaphore"), 1);
    const bool acquired = semaphore.acquire();
    Claim claim;
    // On Unix, the segment of a crashed process remains; attaching and detaching removes it and its
    // key file. The next key file may lead to another such segment, hence several attempts.
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
        semaphore.release();
    }
    return claim;
}

} // namespace

SingleAppHandler::SingleAppHandler(QObject *parent)
    : QObject(parent)
    , m_key(sha256(QCoreApplication::applicationName()))
    , m_folder(privateFolder())
    , m_serverNames{m_key, serverNameIn(m_folder, sha256(QCoreApplication::applicationName() +
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
    // QSystemSemaphore has no timeout, so a detached thread waits for it. A stopped process or
    // another user may hold it, or this process itself: after a key file was removed, the system
    // may use its number for another semaphore's.
    std::packaged_task<Claim()> task([key = m_key] { return claimSegment(key); });
    std::future<Claim> result = task.get_future();
    std::thread(std::move(task)).detach();
    Claim claim;
    if (result.wait_for(maxSemaphoreWait) == std::future_status::ready) {
        claim = result.get();
    } else {
        claim.error = QStringLiteral("another process holds the semaphore");
    }
    if (claim.isSecond || !listen()) {
        m_lock.reset();
        return false;
    }
    m_segment = std::move(claim.segment);
    if (!m_segment) {
        qCWarning(lcApp).noquote().nospace()
            << "Cannot mark the running instance by shared memory (" << claim.error
            << "); another user may hold it. The lock file is used instead.";
    }
    return true;
}

// False when another instance holds the lock.
bool SingleAppHandler::lock()
{
    QDir().mkpath(m_folder);
    // Any user who can open the file can lock it.
    QFile::setPermissions(m_folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    m_lock = std::make_unique<QFile>(m_folder + QLatin1String("/lock"));
    if (!m_lock->open(QIODevice::ReadWrite)) {
        qCWarning(lcApp).noquote()
            << "Cannot open the lock file" << m_lock->fileName() << '-' << m_lock->errorString();
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
    for (const QString &name : m_serverNames) {
        QLocalSocket socket;
        socket.connectToServer(name);
        QString error;
        if (socket.waitForConnected(maxConnectWait)) {
            if (isOwnServer(socket)) {
                m_server.reset();
                return false;
            }
            error = QStringLiteral("another user has the name");
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
    for (QDeadlineTimer left(maxConnectWait); !left.hasExpired(); QThread::msleep(10)) {
        for (const QString &name : m_serverNames) {
            QLocalSocket socket;
            socket.connectToServer(name);
            if (socket.waitForConnected(static_cast<int>(left.remainingTime())) &&
                isOwnServer(socket)) {
                grantForeground(socket);
                socket.write(message.toUtf8() + '\n');
                while (socket.bytesToWrite() > 0 && socket.waitForBytesWritten(maxWriteWait)) {
                }
                return;
            }
        }
    }
}

void SingleAppHandler::processConnection()
{
    while (QLocalSocket *const client = m_server->nextPendingConnection()) {
        if (m_received.size() >= maxClients) {
            client->abort();
            client->deleteLater();
            continue;
        }
        // Qt reads no more until this is consumed, so the client must wait.
        client->setReadBufferSize(maxMessageSize);
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
    // A read may end inside of a UTF-8 character, so decode whole messages only.
    *received += client->readAll();
    QStringList messages;
    int start = 0;
    for (int end = received->indexOf('\n'); end >= 0; end = received->indexOf('\n', start)) {
        messages.append(QString::fromUtf8(received->mid(start, end - start)));
        start = end + 1;
    }
    received->remove(0, start);
    if (received->size() > maxMessageSize) {
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
    receive(client); // on Windows, disconnected() may come before the last readyRead()
    if (m_received.remove(client) > 0) {
        client->deleteLater();
    }
}
