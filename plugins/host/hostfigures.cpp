#include "plugins/host/hostfigures.h"

#include <algorithm>
#include <cmath>
#include <utility>

HostFigures::HostFigures(const QString &sys)
    : m_sys(sys)
{
}

double HostFigures::Space::usedPercent() const
{
    return 100.0 * static_cast<double>(total - free) / static_cast<double>(total);
}

std::optional<double> HostFigures::cpuPercent()
{
    const std::optional<CpuTimes> now = cpuTimes();
    const std::optional<CpuTimes> before = m_before;
    m_before = now;
    if (!now || !before || now->total <= before->total) {
        return {};
    }
    const double total = static_cast<double>(now->total - before->total);
    // The idle counter may run backwards: proc(5) warns of "iowait", which counts as idle here.
    const double idle =
        now->idle > before->idle ? static_cast<double>(now->idle - before->idle) : 0;
    return std::round(10 * std::clamp(100 * (1 - idle / total), 0.0, 100.0)) / 10;
}

QJsonObject HostFigures::network()
{
    constexpr double kibibyte = 1024;
    const auto now = std::chrono::steady_clock::now();
    const std::chrono::duration<double> time = now - std::exchange(m_interfacesTime, now);
    const QHash<QString, Counters> before = std::exchange(m_interfaces, interfaces());
    if (before.isEmpty() || m_interfaces.isEmpty() || time.count() <= 0) {
        return {};
    }
    // An interface that is new, or whose counter runs backwards because it was reset or overflowed,
    // adds nothing this time.
    double received = 0;
    double sent = 0;
    for (auto it = m_interfaces.cbegin(); it != m_interfaces.cend(); ++it) {
        const Counters former = before.value(it.key(), *it);
        received += it->received - std::min(it->received, former.received);
        sent += it->sent - std::min(it->sent, former.sent);
    }
    const auto rate = [&](double bytes) {
        return std::round(10 * bytes / kibibyte / time.count()) / 10;
    };
    return {{"received", rate(received)}, {"sent", rate(sent)}};
}
