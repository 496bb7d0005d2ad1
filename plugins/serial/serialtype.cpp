#include "plugins/serial/serialtype.h"

#include "plugins/serial/boardport.h"
#include "plugins/serial/log.h"
#include "plugins/serial/serialthing.h"

#include <QThread>
#include <QVector>

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

using namespace std::chrono_literals;

SerialType::SerialType()
{
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, [this] {
        m_timer.start(1s); // the rights of a new port are set a little later
    });
    connect(&m_timer, &QTimer::timeout, this, &SerialType::look);
    // Qt deletes the type when the process ends, on another thread: too late for the timers.
    connect(
        thread(), &QThread::finished, this,
        [this] {
            configure({{"enabled", false}});
        },
        Qt::DirectConnection);
}

SerialType::~SerialType() = default;

void SerialType::configure(const QVariantHash &settings)
{
    const SerialSettings former = std::exchange(m_settings, SerialSettings(settings));
    closePorts([&](const PortInfo &port) {
        return m_settings.speed != former.speed || !m_settings.isChosen(port);
    });
    watchPorts();
    // Off needs no scan; and before the first scan, one is on its way.
    if (m_hasScanned && m_settings.ports != SerialSettings::Off &&
        (m_settings.ports != former.ports || m_settings.listed != former.listed ||
         m_settings.speed != former.speed)) {
        emit devicesChanged();
    }
}

void SerialType::watchPorts()
{
    const QStringList watched = m_watcher.directories();
    if (m_settings.ports == SerialSettings::Off) {
        m_timer.stop();
        if (!watched.isEmpty()) {
            m_watcher.removePaths(watched);
        }
    } else if (PortInfo::folder().isEmpty()) {
        m_timer.start(10s);
    } else if (watched.isEmpty()) {
        m_watcher.addPath(PortInfo::folder());
    }
}

void SerialType::look()
{
    if (!m_watcher.directories().isEmpty()) {
        m_timer.stop(); // until the folder changes again
    }
    QSet<QString> present;
    for (const PortInfo &port : PortInfo::usbPorts()) {
        present.insert(port.key);
    }
    if (std::exchange(m_seen, present) != present) {
        emit devicesChanged();
    }
}

QHash<QString, QVariant> SerialType::discover()
{
    m_hasScanned = true;
    openPorts();
    rejectDuplicates();
    // A port that still listens may turn out to have the serial of a board that is ready.
    const bool isUndecided = std::any_of(m_ports.begin(), m_ports.end(), [](const auto &port) {
        return port.second->isUndecided();
    });
    QHash<QString, QVariant> boards;
    for (const auto &[key, port] : m_ports) {
        if (port->state() == BoardPort::State::Ready && (port->isTaken() || !isUndecided)) {
            boards.insert(port->deviceKey(), key);
        }
    }
    return boards;
}

QAbstractThing *SerialType::create(const QString &key, const QVariant &descriptor,
                                   const QVariantHash & /*settings*/, QObject ** /*ui*/)
{
    const auto port = m_ports.find(descriptor.toString());
    if (port == m_ports.end() || port->second->state() != BoardPort::State::Ready ||
        port->second->isTaken() || port->second->deviceKey() != key) {
        return nullptr;
    }
    return new SerialThing(*port->second);
}

bool SerialType::claims(const QString &key, const QAbstractThing *thing)
{
    const auto *const board = qobject_cast<const SerialThing *>(thing);
    return board != nullptr && !key.isEmpty() && board->deviceKey() == key;
}

template <typename Predicate>
void SerialType::closePorts(Predicate isObsolete)
{
    std::vector<std::unique_ptr<BoardPort>> obsolete;
    for (auto port = m_ports.begin(); port != m_ports.end();) {
        if (isObsolete(port->second->info())) {
            obsolete.push_back(std::move(port->second));
            port = m_ports.erase(port);
        } else {
            ++port;
        }
    }
    // Last, because it emits signals of the things.
    for (const auto &port : obsolete) {
        port->close();
    }
}

void SerialType::openPorts()
{
    QVector<PortInfo> ports;
    const QSet<QString> formerlyMissing = std::exchange(m_missing, {});
    if (m_settings.ports == SerialSettings::Listed) {
        for (const QString &name : qAsConst(m_settings.listed)) {
            if (const auto port = PortInfo::find(name)) {
                ports.append(*port);
                continue;
            }
            m_missing.insert(name);
            if (!formerlyMissing.contains(name)) {
                qCWarning(lcSerial).noquote().nospace()
                    << "Serial port " << name << " is listed, but there is none of this name";
            }
        }
    } else if (m_settings.ports != SerialSettings::Off) {
        ports = PortInfo::usbPorts();
    }
    QSet<QString> present;
    for (const PortInfo &port : qAsConst(ports)) {
        present.insert(port.key);
    }
    closePorts([&](const PortInfo &port) { return !present.contains(port.key); });
    for (const PortInfo &info : qAsConst(ports)) {
        if (m_settings.isChosen(info)) {
            auto &port = m_ports[info.key];
            if (!port) {
                port = std::make_unique<BoardPort>(info);
                connect(port.get(), &BoardPort::settled, this, &SerialType::devicesChanged);
            }
            port->open(m_settings);
        }
    }
}

// Leaves a board alone that has the serial of another one, and both unless the other is a thing
// already: nothing tells which of the two the cloud knows under this serial.
void SerialType::rejectDuplicates()
{
    QHash<QString, QVector<BoardPort *>> boards; // by serial
    for (const auto &port : m_ports) {
        if (port.second->state() == BoardPort::State::Ready) {
            boards[port.second->serial()].append(port.second.get());
        }
    }
    for (const QVector<BoardPort *> &twins : qAsConst(boards)) {
        for (BoardPort *const port : twins) {
            if (twins.size() > 1 && !port->isTaken()) {
                port->leaveAlone(QStringLiteral(
                    "another board has its serial. Have each board print one of its own, as in "
                    "{\"thing\": {\"serial\": \"kitchen\"}}"));
            }
        }
    }
}
