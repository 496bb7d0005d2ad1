#pragma once

#include <QString>

// What another user of the computer can do to the guard.

// Continues as the user with this id; 0 is the current one. False when this user may not.
[[nodiscard]] bool becomeUser(int user);

// Becomes another user and creates what `what` contains, "socket" and "segment", under the guard's
// key, with access for everyone, until the process ends. False when that is not possible.
[[nodiscard]] bool takeAsOtherUser(const QString &key, const QString &what);

// While the object lives, a local server can neither use this name nor be reached by it.
class BlockedServerName
{
public:
    explicit BlockedServerName(const QString &name);
    ~BlockedServerName();
    Q_DISABLE_COPY(BlockedServerName)

private:
    const QString m_name;
    void *m_pipe = nullptr; // Windows only
};
