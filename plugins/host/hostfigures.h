#pragma once

#include <QHash>
#include <QJsonObject>
#include <QString>
#include <QtGlobal>

#include <chrono>
#include <optional>

// Load, memory, disk, uptime, battery, temperatures and network traffic of this computer; absent
// when the operating system gives none. A call makes some system calls and waits for no device but
// the disk that it asks about, and milliseconds for a battery or a sensor.
class HostFigures
{
public:
    struct Space // bytes
    {
        quint64 free = 0;
        quint64 total = 0; // more than 0, not less than `free`
        double usedPercent() const;
    };

    // `sys`: where Linux shows its devices; tests have a folder of their own.
    explicit HostFigures(const QString &sys = QStringLiteral("/sys"));

    // Busy share of all processors since the previous call, in percent with one decimal. Absent at
    // the first call, and when the system's counters have not changed since.
    std::optional<double> cpuPercent();
    // `free`: what programs can allocate without swapping; includes caches.
    static std::optional<Space> memory();
    // `free`: what this user may still write.
    static std::optional<Space> disk(const QString &path);
    static std::optional<qint64> uptimeSeconds();

    // Objects for the thing's state, in its units. What is unknown is left out.
    // {"charge", "mains"}: all batteries together, but for those of mice and phones.
    QJsonObject battery() const;
    // {"cpu", "disk"}, the hottest of each kind. Only NVMe disks: asking others may wake them.
    QJsonObject temperature() const;
    // {"received", "sent"} since the previous call; empty at the first one. Counts the interfaces
    // that are hardware; on Linux, where there are none (in containers), all but the loopback.
    QJsonObject network();

private:
    struct CpuTimes // since the system started, in the platform's unit
    {
        quint64 idle = 0;
        quint64 total = 0;
    };
    static std::optional<CpuTimes> cpuTimes();
    struct Counters // bytes
    {
        double received = 0;
        double sent = 0;
    };
    QHash<QString, Counters> interfaces() const;

    const QString m_sys;
    std::optional<CpuTimes> m_before;
    QHash<QString, Counters> m_interfaces; // at the previous call
    std::chrono::steady_clock::time_point m_interfacesTime;
};
