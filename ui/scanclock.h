#pragma once

#include <QObject>
#include <QTimer>

#include <chrono>

// Decides when to scan for devices: at the stored interval, and 20 seconds after a device has gone.
// One scan at a time. Interface thread.
class ScanClock : public QObject
{
    Q_OBJECT

public:
    static constexpr std::chrono::minutes maxPeriod{7 * 24 * 60}; // fits into the timer

    explicit ScanClock(QObject *parent = nullptr);

    // Reads the settings and restarts the interval.
    void arm();
    void stop();
    // Scans 20 seconds after the last call.
    void scanLater();
    // Requests a scan now, unless one is running.
    void scan();
    void scanFinished();
    // Of the regular scan, as it was armed last.
    std::chrono::milliseconds period() const { return m_regular.intervalAsDuration(); }

signals:
    void scanRequested();
    void scanningChanged(bool scanning);

private:
    QTimer m_regular;
    QTimer m_deferred;
    bool m_scanning = false;
    bool m_scanAgain = false; // a deferred scan was due during another one
};
