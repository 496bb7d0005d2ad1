#include "plugins/host/hostfigures.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QList>

#include <cmath>
#include <limits>
#include <sys/statvfs.h>
#include <utility>

namespace {

// Bytes: the lines that are needed stand at the beginning of these files of /proc.
constexpr qint64 maxReadSize = 1 << 14;

// Empty if it cannot be read: where a device is missing, its files may open and fail then.
QByteArray content(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.read(maxReadSize).trimmed() : QByteArray();
}

QList<QByteArray> lines(const char *path)
{
    return content(QString::fromLatin1(path)).split('\n');
}

constexpr double unknown = std::numeric_limits<double>::quiet_NaN(); // every comparison is false

double number(const QString &path)
{
    bool isNumber = false;
    const qint64 number = content(path).toLongLong(&isNumber);
    return isNumber ? static_cast<double>(number) : unknown;
}

// With their paths; links to folders, too.
QStringList folders(const QString &path)
{
    QStringList result = QDir(path).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (QString &name : result) {
        name.prepend(path + '/');
    }
    return result;
}

// Of all batteries together, from 0 to 1: by their energies, else by their charges, where all of
// them tell these; else the mean of the capacities that are told.
double charge(const QStringList &batteries)
{
    for (const QString kind : {"/energy_", "/charge_", "/capacity"}) {
        const bool isPercent = kind == "/capacity";
        double now = 0;
        double full = 0;
        int known = 0;
        for (const QString &battery : batteries) {
            const double ownNow = number(battery + kind + (isPercent ? "" : "now"));
            const double ownFull = isPercent ? 100 : number(battery + kind + "full");
            if (ownNow >= 0 && ownFull > 0) {
                now += std::fmin(ownNow, ownFull);
                full += ownFull;
                ++known;
            }
        }
        if (known > 0 && (isPercent || known == batteries.size())) {
            return now / full;
        }
    }
    return unknown;
}

// Of a monitor or a thermal zone.
bool isProcessor(const QByteArray &name)
{
    return name == "coretemp" || name == "k10temp" || name == "zenpower" ||
           name == "x86_pkg_temp" || name.startsWith("cpu") || name.startsWith("soc");
}

// The file tells thousandths.
double degrees(const QString &path)
{
    const double degrees = number(path) / 1000;
    return degrees >= -50 && degrees <= 200 ? degrees : unknown;
}

double processorDegrees(const QString &monitor)
{
    constexpr int maxSensors = 8; // the first ones are of whole processors, more are of cores
    double hottest = unknown;
    for (int i = 1; i <= maxSensors; ++i) {
        const QString sensor = monitor + "/temp" + QString::number(i);
        const double value = degrees(sensor + "_input");
        if (content(sensor + "_label") == "Tdie" && !std::isnan(value)) {
            return value; // the other one, "Tctl", is up to 27 degrees higher, for the fan's sake
        }
        hottest = std::fmax(hottest, value); // of an unknown and a known one the known one
    }
    return hottest;
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

QJsonObject HostFigures::battery() const
{
    QStringList batteries;
    bool isOnline = false;
    bool isDischarging = false;
    for (const QString &supply : folders(m_sys + "/class/power_supply")) {
        const QByteArray type = content(supply + "/type");
        const QByteArray status = content(supply + "/status");
        if (content(supply + "/scope") == "Device") {
            continue;
        }
        if (type == "Mains" || type.startsWith("USB")) {
            isOnline = isOnline || number(supply + "/online") > 0;
        } else if (type == "Battery" && !status.isEmpty()) { // not an empty bay
            batteries += supply;
            isDischarging = isDischarging || status == "Discharging";
        }
    }
    const double part = charge(batteries);
    if (std::isnan(part)) {
        return {};
    }
    return {{"charge", qRound(100 * part)}, {"mains", isOnline || !isDischarging}};
}

QJsonObject HostFigures::temperature() const
{
    double processor = unknown;
    double disk = unknown;
    for (const QString &monitor : folders(m_sys + "/class/hwmon")) {
        const QByteArray name = content(monitor + "/name");
        if (isProcessor(name)) {
            processor = std::fmax(processor, processorDegrees(monitor));
        } else if (name == "nvme") { // the first sensor is the drive's own summary
            disk = std::fmax(disk, degrees(monitor + "/temp1_input"));
        }
    }
    if (std::isnan(processor)) {
        for (const QString &zone : folders(m_sys + "/class/thermal")) {
            if (isProcessor(content(zone + "/type"))) {
                processor = std::fmax(processor, degrees(zone + "/temp"));
            }
        }
    }
    QJsonObject result;
    for (const auto &[name, value] : {std::pair("cpu", processor), std::pair("disk", disk)}) {
        if (!std::isnan(value)) {
            result[name] = qRound(value);
        }
    }
    return result;
}

// Bridges, tunnels and the ends of containers have no device: what they pass on would count twice.
QHash<QString, HostFigures::Counters> HostFigures::interfaces() const
{
    QHash<QString, Counters> hardware;
    QHash<QString, Counters> others;
    for (const QString &path : folders(m_sys + "/class/net")) {
        const double received = number(path + "/statistics/rx_bytes");
        const double sent = number(path + "/statistics/tx_bytes");
        if (received >= 0 && sent >= 0 && !path.endsWith("/lo")) {
            (QFile::exists(path + "/device") ? hardware : others).insert(path, {received, sent});
        }
    }
    return hardware.isEmpty() ? others : hardware;
}
