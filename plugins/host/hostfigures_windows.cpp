#include "plugins/host/hostfigures.h"

#include <QDir>

#include <winsock2.h> // these in this order

#include <ws2tcpip.h>

#include <iphlpapi.h>

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

QJsonObject HostFigures::battery() const
{
    constexpr BYTE noBattery = 128; // a bit; it is set in 255, "unknown", too
    SYSTEM_POWER_STATUS status;
    if (GetSystemPowerStatus(&status) == 0 || (status.BatteryFlag & noBattery) != 0 ||
        status.BatteryLifePercent > 100) {
        return {};
    }
    return {{"charge", status.BatteryLifePercent}, {"mains", status.ACLineStatus != 0}};
}

// Windows has no documented call that works without administrator rights.
QJsonObject HostFigures::temperature() const
{
    return {};
}

QHash<QString, HostFigures::Counters> HostFigures::interfaces() const
{
    MIB_IF_TABLE2 *table = nullptr;
    if (GetIfTable2(&table) != NO_ERROR) {
        return {};
    }
    QHash<QString, Counters> result;
    for (ULONG i = 0; i < table->NumEntries; ++i) {
        const MIB_IF_ROW2 &row = table->Table[i];
        // The filters of an interface count its traffic once more.
        if (row.InterfaceAndOperStatusFlags.HardwareInterface &&
            !row.InterfaceAndOperStatusFlags.FilterInterface && row.OperStatus == IfOperStatusUp) {
            result.insert(QString::number(row.InterfaceLuid.Value),
                          {static_cast<double>(row.InOctets), static_cast<double>(row.OutOctets)});
        }
    }
    FreeMibTable(table);
    return result;
}
