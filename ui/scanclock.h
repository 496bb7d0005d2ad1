#pragma once

#include <QBasicTimer>
#include <QObject>
#include <QTimer>

#include <chrono>

// When to look for devices: regularly if the settings say so, and some time after one has gone.
// One search at a time. Interface thread.
class ScanClock : public QObject
{
    Q_OBJECT

public:
    explicit ScanClock(QObject *parent = nullptr);

    // Takes the settings over; a regular search that is due begins to wait anew.
    void arm();
    void stop();
    // 20 seconds after the last call a search follows.
    void scanLater();
    // Asks for a search now; not while one is under way.
    void scan();
    // The search has ended.
    void scanned();
    // Period of the regular search; 0 while there is none.
    std::chrono::milliseconds period() const { return m_period; }

signals:
    void scanWanted();
    void scanning(bool on);

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    QBasicTimer m_regular;
    QTimer m_deferred;
    std::chrono::milliseconds m_period{0};
    bool m_scanning = false;
    bool m_again = false; // the search under way may be past what the deferred one was for
};
