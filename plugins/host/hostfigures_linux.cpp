#include "plugins/host/hostfigures.h"

#include <QByteArray>
#include <QFile>
#include <QList>

#include <sys/statvfs.h>

namespace {

// Bytes: the lines that are needed stand at the beginning of these files of /proc.
constexpr qint64 maxReadSize = 1 << 14;

QList<QByteArray> lines(const char *path)
{
    QFile file(QString::fromLatin1(path));
    return file.open(QIODevice::ReadOnly) ? file.read(maxReadSize).split('\n')
                                          : QList<QByteArray>();
}

} // namespace

// proc(5), /proc/stat: user nice system idle iowait irq softirq steal guest guest_nice; "user" and
// "nice" include the guests' time.
std::optional<HostFigures::CpuTimes> HostFigures::cpuTimes()
{
    constexpr int idle = 4;
    constexpr int ioWait = 5;
    constexpr int steal = 8;
    const QList<QByteArray> words = lines("/proc/stat").value(0).simplified().split(' ');
    if (words.size() <= idle || words.first() != "cpu") {
        return {};
    }
    CpuTimes times;
    for (int i = 1; i < words.size() && i <= steal; ++i) {
        const quint64 time = words.at(i).toULongLong();
        times.total += time;
        if (i == idle || i == ioWait) {
            times.idle += time;
        }
    }
    return times;
}

std::optional<HostFigures::Space> HostFigures::memory()
{
    constexpr quint64 kilobyte = 1024;
    Space space;
    bool known = false; // MemAvailable: since Linux 3.14
    for (const QByteArray &line : lines("/proc/meminfo")) {
        const QList<QByteArray> words = line.simplified().split(' ');
        if (words.first() == "MemTotal:") {
            space.total = words.value(1).toULongLong() * kilobyte;
        } else if (words.first() == "MemAvailable:") {
            space.free = words.value(1).toULongLong(&known) * kilobyte;
        }
    }
    if (!known || space.total == 0 || space.free > space.total) {
        return {};
    }
    return space;
}

std::optional<qint64> HostFigures::uptimeSeconds()
{
    bool known = false;
    const double seconds = lines("/proc/uptime").value(0).split(' ').first().toDouble(&known);
    if (!known || !(seconds >= 0 && seconds < 1e12)) {
        return {};
    }
    return static_cast<qint64>(seconds);
}

// Not QStorageInfo: it reads the table of mounts, which may lack the folder in a container.
std::optional<HostFigures::Space> HostFigures::disk(const QString &path)
{
    struct statvfs status = {};
    if (statvfs(QFile::encodeName(path).constData(), &status) != 0 || status.f_blocks == 0 ||
        status.f_bavail > status.f_blocks) {
        return {};
    }
    return Space{static_cast<quint64>(status.f_bavail) * status.f_frsize,
                 static_cast<quint64>(status.f_blocks) * status.f_frsize};
}
