#include "app/platform/ownership.h"

#include <QFile>
#include <QLocalSocket>

#include <qt_windows.h>

#include <aclapi.h>
#include <io.h>

namespace {

HANDLE toHandle(qintptr number)
{
    return reinterpret_cast<HANDLE>(number); // NOLINT(performance-no-int-to-ptr): Qt's type for it
}

} // namespace

bool isOwnServer(const QLocalSocket &socket)
{
    PSID owner = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    HANDLE token = nullptr;
    alignas(TOKEN_USER) BYTE buffer[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    DWORD size = 0;
    // QLocalServer makes the user the owner of the pipe, in an elevated process too.
    const bool isOwn = GetSecurityInfo(toHandle(socket.socketDescriptor()), SE_KERNEL_OBJECT,
                                       OWNER_SECURITY_INFORMATION, &owner, nullptr, nullptr,
                                       nullptr, &descriptor) == ERROR_SUCCESS &&
                       OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) != 0 &&
                       GetTokenInformation(token, TokenUser, buffer, sizeof buffer, &size) != 0 &&
                       EqualSid(owner, reinterpret_cast<TOKEN_USER *>(buffer)->User.Sid) != 0;
    if (token != nullptr) {
        CloseHandle(token);
    }
    LocalFree(descriptor);
    return isOwn;
}

bool isOtherUsersSegment(const QSharedMemory & /*segment*/)
{
    return false;
}

QString serverNameIn(const QString & /*folder*/, const QString &name)
{
    return name;
}

bool tryLock(const QFile &file)
{
    return LockFile(toHandle(_get_osfhandle(file.handle())), 0, 0, 1, 0) != 0 ||
           GetLastError() != ERROR_LOCK_VIOLATION;
}
