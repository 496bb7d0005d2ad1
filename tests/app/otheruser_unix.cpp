#include "tests/app/otheruser.h"

#include <QDir>
#include <QLocalServer>
#include <QSharedMemory>

#include <sys/shm.h>
#include <unistd.h>

bool becomeUser(int user)
{
    return user == 0 || (setuid(user) == 0 && access(qPrintable(QDir::tempPath()), W_OK) == 0);
}

bool takeAsOtherUser(const QString &key, const QString &what)
{
    if (!becomeUser(12346)) {
        return false;
    }
    static QLocalServer server;
    server.setSocketOptions(QLocalServer::WorldAccessOption);
    if (what.contains("socket") && !server.listen(key)) {
        return false;
    }
    QFile keyFile(QSharedMemory(key).nativeKey());
    return !what.contains("segment") ||
           (keyFile.open(QIODevice::WriteOnly) &&
            reinterpret_cast<intptr_t>(
                shmat(shmget(ftok(qPrintable(keyFile.fileName()), 'Q'), 1, IPC_CREAT | 0666),
                      nullptr, 0)) != -1);
}

BlockedServerName::BlockedServerName(const QString &name)
    : m_name(QDir::temp().filePath(name))
{
    QDir().mkdir(m_name); // a folder in the socket's place
}

BlockedServerName::~BlockedServerName()
{
    QDir().rmdir(m_name);
}
