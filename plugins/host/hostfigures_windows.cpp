#include "plugins/host/hostfigures.h"

#include <QDir>

#include <windows.h>

namespace {

quint64 ticks(const FILETIME &time)
{
    return (static_cast<quint64>(time.dwHighDateTime) << 32U) | time.dwLowDateTime;
}

} // namespace

std::optional<HostFigures::CpuTimes> HostFigures::cpuTimes()
{
    FILETIME idle;
    FILETIME kernel; // contains the idle time
    FILETIME user;
    if (GetSystemTimes(&idle, &kernel, &user) == 0) {
        return {};
    }
    return CpuTimes{ticks(idle), ticks(kernel) + ticks(user)};
}

std::optional<HostFigures::Space> HostFigures::memory()
{
    MEMORYSTATUSEX status;
    status.dwLength = sizeof(status);
    if (GlobalMemoryStatusEx(&status) == 0 || status.ullTotalPhys == 0 ||
        status.ullAvailPhys > status.ullTotalPhys) {
        return {};
    }
    return Space{status.ullAvailPhys, status.ullTotalPhys};
}

std::optional<qint64> HostFigures::uptimeSeconds()
{
    constexpr quint64 millisecondsPerSecond = 1000;
    return static_cast<qint64>(GetTickCount64() / millisecondsPerSecond);
}

std::optional<HostFigures::Space> HostFigures::disk(const QString &path)
{
    // A share needs the final backslash, and "C:" is the current folder of its drive.
    QString folder = QDir::toNativeSeparators(path);
    if (!folder.endsWith(QLatin1Char('\\'))) {
        folder += QLatin1Char('\\');
    }
    // For an empty drive the call fails, rather than ask the user to insert a disk.
    DWORD former = 0;
    SetThreadErrorMode(SEM_FAILCRITICALERRORS, &former);
    ULARGE_INTEGER free;
    ULARGE_INTEGER total;
    const BOOL known = GetDiskFreeSpaceExW(reinterpret_cast<const wchar_t *>(folder.utf16()), &free,
                                           &total, nullptr);
    SetThreadErrorMode(former, nullptr);
    if (known == 0 || total.QuadPart == 0 || free.QuadPart > total.QuadPart) {
        return {};
    }
    return Space{free.QuadPart, total.QuadPart};
}
