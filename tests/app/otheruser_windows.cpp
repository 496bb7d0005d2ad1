#include "tests/app/otheruser.h"

#include <qt_windows.h>

#include <sddl.h>

namespace {

HANDLE pipe(const QString &name, DWORD direction, DWORD instances, SECURITY_ATTRIBUTES *access)
{
    return CreateNamedPipeW(reinterpret_cast<const wchar_t *>(("\\\\.\\pipe\\" + name).utf16()),
                            direction, PIPE_TYPE_BYTE, instances, 0, 0, 0, access);
}

} // namespace

bool becomeUser(int user)
{
    return user == 0;
}

// The administrators' group stands for another user; only an administrator can create its pipes.
// Windows has neither shared memory of another user nor user ids here.
bool takeAsOtherUser(const QString &key, const QString &what)
{
    SECURITY_ATTRIBUTES access = {sizeof access, nullptr, FALSE};
    bool done = what.endsWith("socket") &&
                ConvertStringSecurityDescriptorToSecurityDescriptorW(
                    L"O:BAD:(A;;GA;;;WD)", SDDL_REVISION_1, &access.lpSecurityDescriptor, nullptr);
    for (int connections = 0; done && connections < 500; ++connections) {
        done = pipe(key, PIPE_ACCESS_DUPLEX, PIPE_UNLIMITED_INSTANCES, &access) !=
               INVALID_HANDLE_VALUE;
    }
    return done;
}

BlockedServerName::BlockedServerName(const QString &name)
    // One instance that only receives: both listening and connecting are denied.
    : m_pipe(pipe(name, PIPE_ACCESS_INBOUND, 1, nullptr))
{
}

BlockedServerName::~BlockedServerName()
{
    CloseHandle(m_pipe);
}
