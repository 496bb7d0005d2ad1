#include "app/sleeplistener.h"

#include <QCoreApplication>
#include <QPointer>

SleepListener::SleepListener(QObject *parent)
    : QObject(parent)
{
}

SleepListener *SleepListener::instance()
{
    static QPointer<SleepListener> listener;
    if (listener.isNull()) {
        listener = new SleepListener(QCoreApplication::instance());
    }
    return listener;
}

void SleepListener::sleepChanged(bool begins)
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
