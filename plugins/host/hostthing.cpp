#include "plugins/host/hostthing.h"

#include <QDir>
#include <QJsonArray>
#include <QTimer>

#include <chrono>
#include <cmath>
#include <utility>

namespace {

using namespace std::chrono_literals;

constexpr auto firstMeasurement = 1s;
constexpr int maxPathLength = 4096;

// `value` is a whole number within the limits, as a number or as text; otherwise `fallback`.
int number(const QVariant &value, int min, int max, int fallback)
{
    bool isNumber = false;
    const double number = value.toDouble(&isNumber);
    const bool isValid = isNumber && number >= min && number <= max && number == std::floor(number);
    return isValid ? static_cast<int>(number) : fallback;
}

qint64 mebibytes(quint64 bytes)
{
    return static_cast<qint64>(bytes >> 20U);
}

} // namespace

HostThing::HostThing(const QString &serial, const QVariantHash &settings)
    : m_serial(serial)
    , m_settings(checked(settings))
    , m_timer(new QTimer(this))
{
    m_figures.cpuPercent(); // starts the measurements of load and network
    m_figures.network();
    updateState();
    connect(m_timer, &QTimer::timeout, this, &HostThing::measure);
    m_timer->start(firstMeasurement);
}

QString HostThing::type() const
{
    return QStringLiteral("host");
}

QString HostThing::version() const
{
    return QStringLiteral("1");
}

int HostThing::kind() const
{
    return 1;
}

QString HostThing::serial() const
{
    return m_serial;
}

void HostThing::setSettings(const QVariantHash &settings)
{
    const int interval = m_settings.interval;
    m_settings = checked(settings);
    if (isActive() && m_settings.interval != interval) {
        m_timer->start(std::chrono::seconds(m_settings.interval));
    }
    updateState();
}

QJsonObject HostThing::state() const
{
    return m_state;
}

HostThing::Settings HostThing::checked(const QVariantHash &settings)
{
    Settings result;
    result.interval = number(settings["interval"], 1, 3600, result.interval);
    result.cpuLimit = number(settings["cpu_limit"], 1, 100, result.cpuLimit);
    result.memoryLimit = number(settings["memory_limit"], 1, 100, result.memoryLimit);
    result.diskLimit = number(settings["disk_limit"], 1, 100, result.diskLimit);
    result.disk = settings["disk"].toString();
    if (!QDir::isAbsolutePath(result.disk) || result.disk.size() > maxPathLength ||
        result.disk.contains(QChar(u'\0'))) {
        result.disk = QDir::rootPath();
    }
    return result;
}

void HostThing::measure()
{
    m_cpu = m_figures.cpuPercent();
    m_network = m_figures.network();
    if (!isActive()) {
        setActive(true);
        m_timer->start(std::chrono::seconds(m_settings.interval));
    }
    updateState();
}

void HostThing::updateState()
{
    QJsonObject state;
    QJsonArray warnings;
    if (m_cpu) {
        state["cpu"] = *m_cpu;
        if (*m_cpu >= m_settings.cpuLimit) {
            warnings.append("cpu");
        }
    }
    if (const auto memory = HostFigures::memory()) {
        state["memory"] = QJsonObject{{"used", mebibytes(memory->total - memory->free)},
                                      {"total", mebibytes(memory->total)}};
        if (memory->usedPercent() >= m_settings.memoryLimit) {
            warnings.append("memory");
        }
    }
    if (const auto disk = HostFigures::disk(m_settings.disk)) {
        state["disk"] = QJsonObject{{"path", m_settings.disk},
                                    {"free", mebibytes(disk->free)},
                                    {"total", mebibytes(disk->total)}};
        if (disk->usedPercent() >= m_settings.diskLimit) {
            warnings.append("disk");
        }
    }
    if (const auto uptime = HostFigures::uptimeSeconds()) {
        state["uptime"] = *uptime;
    }
    const std::pair<QString, QJsonObject> groups[] = {{"network", m_network},
                                                      {"battery", m_figures.battery()},
                                                      {"temperature", m_figures.temperature()}};
    for (const auto &[name, group] : groups) {
        if (!group.isEmpty()) {
            state[name] = group;
        }
    }
    state["warnings"] = warnings;
    if (state != m_state) {
        m_state = state;
        emit stateChanged(m_state);
    }
}
