#include "app/platform/ownership.h"

#include <QFile>
#include <QLocalSocket>
#include <QSharedMemory>

#include <cerrno>
#include <sys/file.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <unistd.h>

bool isOwnServer(const QLocalSocket &socket)
{
    ucred peer = {}; // of the process that called listen()
    socklen_t size = sizeof peer;
    return getsockopt(static_cast<int>(socket.socketDescriptor()), SOL_SOCKET, SO_PEERCRED, &peer,
                      &size) == 0 &&
           peer.uid == geteuid();
}

bool isOtherUsersSegment(const QSharedMemory &segment)
{
    // The key that Qt 5.15 uses.
    const int id = shmget(ftok(QFile::encodeName(segment.nativeKey()).constData(), 'Q'), 0, 0);
    shmid_ds status = {};
    return id >= 0 && shmctl(id, IPC_STAT, &status) == 0 && status.shm_perm.cuid != geteuid();
}

QString serverNameIn(const QString &folder, const QString & /*name*/)
{
    return folder + QLatin1String("/socket");
}

bool tryLock(const QFile &file)
{
    return flock(file.handle(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}
