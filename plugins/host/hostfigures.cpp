#include "plugins/host/hostfigures.h"

#include <algorithm>
#include <cmath>

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
