#pragma once

#include <QString>

class QFile;
class QLocalSocket;
class QSharedMemory;

// What keeps another user of the computer out of the single-instance guard. Any thread.

// Whether the server at the other end of a connected socket belongs to this user. False when the
// system does not tell.
bool isOwnServer(const QLocalSocket &socket);

// Whether another user created the shared-memory segment. False when the system does not tell, and
// on Windows, where shared memory belongs to one session.
bool isOtherUsersSegment(const QSharedMemory &segment);

// The name of a local server in `folder`; `name` where local servers have no folders.
QString serverNameIn(const QString &folder, const QString &name);

// Locks an open file until it is closed or the process dies. False when another process, or another
// QFile of this one, holds the lock; true without a lock where the file system supports none.
bool tryLock(const QFile &file);
