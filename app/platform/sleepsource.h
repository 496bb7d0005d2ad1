#pragma once

#include <QObject>

// The system's own word about sleep, as long as the object lives. Interface thread; where the
// system has nothing to say it stays silent.
class SleepSource : public QObject
{
    Q_OBJECT

public:
    SleepSource();

signals:
    void aboutToSleep();
    void didWakeUp();

public slots:
    // What the system says; it may say the same more than once.
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
