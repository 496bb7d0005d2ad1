#pragma once

#include <QString>
#include <QtGlobal>

#include <optional>

// Load, memory, disk and uptime of this computer; absent when the operating system gives none. A
// call makes a few system calls and waits for no device but the disk that it asks about.
class HostFigures
{
public:
    struct Space // bytes
    {
        quint64 free = 0;
        quint64 total = 0; // more than 0, not less than `free`
        double usedPercent() const;
    };

    // Busy share of all processors since the previous call, in percent with one decimal. Absent at
    // the first call, and when the system's counters have not changed since.
    std::optional<double> cpuPercent();
    // `free`: what programs can allocate without swapping; includes caches.
    static std::optional<Space> memory();
    // `free`: what this user may still write.
    static std::optional<Space> disk(const QString &path);
    static std::optional<qint64> uptimeSeconds();

private:
    struct CpuTimes // since the system started, in the platform's unit
    {
        quint64 idle = 0;
        quint64 total = 0;
    };
    static std::optional<CpuTimes> cpuTimes();

    std::optional<CpuTimes> m_before;
};
