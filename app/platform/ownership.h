#pragma once

#include <QString>

class QFile;
class QLocalSocket;
class QSharedMemory;

// Protects the single-instance guard from other users of the computer. Any thread.

// Whether the server at the other end of a connected socket belongs to this user. False when that
// is unknown.
bool isOwnServer(const QLocalSocket &socket);

// Whether another user created the shared-memory segment. False when that is unknown, and on
// Windows, where shared memory belongs to one session.
bool isOtherUsersSegment(const QSharedMemory &segment);

// The name of a local server in `folder`; on Windows, where a local server has no folder, `name`.
QString serverNameIn(const QString &folder, const QString &name);

// Locks an open file until it is closed or the process ends. False when another process, or another
// QFile of this one, holds the lock; true, without a lock, when the file system has no locks.
[[nodiscard]] bool tryLock(const QFile &file);
