#pragma once

#include <QObject>

// Signals that the computer is about to sleep and that it woke up. One object for the process, on
// the main thread.
class SleepListener : public QObject
{
    Q_OBJECT

public:
    // Created at the first call as a child of the application object.
    static SleepListener *instance();

public slots:
    // Connects to the system's notifications, if it has any. Call it once.
    void install();
    // For the system's notifications; repeated ones are ignored.
    void sleepChanged(bool begins);

signals:
    void aboutToSleep();
    void didWakeUp();

private:
    explicit SleepListener(QObject *parent);

    bool m_sleeping = false;
};
