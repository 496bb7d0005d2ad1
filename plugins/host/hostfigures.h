#pragma once

#include <QString>
#include <QtGlobal>

#include <optional>

// What the operating system says about this computer. A figure that cannot be had is absent.
// Every call is a few system calls and never waits for a device other than the disk asked for.
class HostFigures
{
public:
    struct Space // bytes
    {
        quint64 free = 0;
        quint64 total = 0; // more than 0, not less than `free`
        double usedPercent() const;
    };

    // Busy share of all processors since the call before, in percent with one decimal. Absent
    // at the first call and when the system's counters have not moved since.
    std::optional<double> cpuPercent();
    // `free` is what programs can have without swapping, caches included.
    static std::optional<Space> memory();
    // `free` is what this user may still write.
    static std::optional<Space> disk(const QString &path);
    static std::optional<qint64> uptimeSeconds();

private:
    struct CpuTimes // since the start, in a unit of the platform's
    {
        quint64 idle = 0;
        quint64 total = 0;
    };
    static std::optional<CpuTimes> cpuTimes();

    std::optional<CpuTimes> m_before;
};
