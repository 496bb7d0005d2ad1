#pragma once

#include <QObject>

// Signals the system's sleep and wake notifications while the object lives; none without a system
// service for them. Interface thread.
class SleepSource : public QObject
{
    Q_OBJECT

public:
    SleepSource();

signals:
    void aboutToSleep();
    void didWakeUp();

public slots:
    // Call for each notification; repeated ones are ignored.
    void sleepChanged(bool begins)
    {
        if (begins == m_sleeping) {
            return;
        }
        m_sleeping = begins;
        if (begins) {
            emit aboutToSleep();
        } else {
            emit didWakeUp();
        }
    }

private:
    bool m_sleeping = false;
};
