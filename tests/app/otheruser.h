#pragma once

#include <QString>

// What another user of the computer may do to the guard.

// Goes on as the user of this number; 0 is the present one. False when that cannot be had.
bool becomeUser(int user);

// Becomes another user and takes the socket, the shared memory, or both ("socket-segment") that the
// guard would use under the key, until the process ends. Everybody can connect and attach. False
// when there is no other user, or something cannot be taken.
bool takeAsOtherUser(const QString &key, const QString &what);

// A name of a local server that another user has, as long as the object lives: it can be neither
// listened under nor connected to.
class TakenName
{
public:
    explicit TakenName(const QString &name);
    ~TakenName();
    Q_DISABLE_COPY(TakenName)

private:
    const QString m_name;
    void *m_pipe = nullptr; // of Windows
};
