#pragma once

#include "plugins/host/hostfigures.h"
#include "things/qabstractthing.h"

#include <QJsonObject>
#include <QString>

#include <optional>

class QTimer;

// This computer as a thing. Its state:
//   "cpu"          percent, one decimal
//   "memory"       {"used", "total"} in MiB
//   "disk"         {"path", "free", "total"}, sizes in MiB
//   "network"      {"received", "sent"} in KiB/s, one decimal
//   "battery"      {"charge", "mains"}: percent, and whether the computer is on mains
//   "temperature"  {"cpu", "disk"} in degrees Celsius
//   "uptime"       seconds
//   "warnings"     which of "cpu", "memory", "disk" have reached the limit of the settings
// A figure that the system does not give is left out. The thing becomes active a second after
// construction, with the first measurement of the processor load.
class HostThing : public QAbstractThing
{
    Q_OBJECT

public:
    HostThing(const QString &serial, const QVariantHash &settings);

    QString type() const override;
    QString version() const override;
    int kind() const override;
    QString serial() const override;

    // The default replaces a value that is missing, of a wrong type or out of range.
    void setSettings(const QVariantHash &settings) override;
    QJsonObject state() const override;

private:
    struct Settings
    {
        int interval = 5; // seconds
        QString disk;
        int cpuLimit = 90; // percent, as the other limits
        int memoryLimit = 90;
        int diskLimit = 90;
    };
    static Settings checked(const QVariantHash &settings);

    void measure();
    void updateState();

    const QString m_serial;
    Settings m_settings;
    HostFigures m_figures;
    std::optional<double> m_cpu;
    QJsonObject m_network;
    QJsonObject m_state;
    QTimer *m_timer;
};
