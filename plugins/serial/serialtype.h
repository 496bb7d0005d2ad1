#pragma once

#include "plugins/serial/serialsettings.h"
#include "things/abstractthingtype.h"

#include <QFileSystemWatcher>
#include <QObject>
#include <QSet>
#include <QTimer>

#include <map>
#include <memory>

class BoardPort;

// The device type "serial": microcontroller boards that print JSON lines at a serial port. A scan
// opens the ports that the settings choose; the next one, for which the type asks, returns those
// where a board has spoken. It also asks for one when a USB port has come or gone.
class SerialType : public QObject, public AbstractThingType, public ConfigurableThingType
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID AbstractThingType_iid FILE "serial.json")
    Q_INTERFACES(AbstractThingType ConfigurableThingType)

public:
    SerialType();
    ~SerialType() override;

    // Closes the ports that are no longer chosen, and all of them when the speed has changed. Asks
    // for a scan when there may be others to open.
    void configure(const QVariantHash &settings) override;
    QHash<QString, QVariant> discover() override;
    QAbstractThing *create(const QString &key, const QVariant &descriptor,
                           const QVariantHash &settings, QObject **ui) override;
    bool claims(const QString &key, const QAbstractThing *thing) override;

signals:
    void devicesChanged(); // asks for a scan

private:
    template <typename Predicate>
    void closePorts(Predicate isObsolete);
    void openPorts();
    void rejectDuplicates();
    void watchPorts();
    void look();

    SerialSettings m_settings;
    bool m_hasScanned = false;
    std::map<QString, std::unique_ptr<BoardPort>> m_ports; // by PortInfo::key
    QFileSystemWatcher m_watcher;
    QTimer m_timer;          // of the next look at the USB ports
    QSet<QString> m_seen;    // their keys at the last look
    QSet<QString> m_missing; // names of listed ports that the last scan did not find
};
