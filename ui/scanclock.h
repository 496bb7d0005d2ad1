#pragma once

#include <QBasicTimer>
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
    // Of the regular scan; 0 while there is none.
    std::chrono::milliseconds period() const { return m_period; }

signals:
    void scanRequested();
    void scanningChanged(bool scanning);

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    QBasicTimer m_regular;
    QTimer m_deferred;
    std::chrono::milliseconds m_period{0};
    bool m_scanning = false;
    bool m_scanAgain = false; // a deferred scan was due during another one
};
