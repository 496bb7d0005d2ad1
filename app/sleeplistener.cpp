#include "app/sleeplistener.h"

#include "app/platform/sleepsource.h"

#include <QCoreApplication>
#include <QPointer>

SleepListener::SleepListener(QObject *parent)
    : QObject(parent)
{
}

SleepListener::~SleepListener() = default;

SleepListener *SleepListener::instance()
{
    static QPointer<SleepListener> listener;
    if (listener.isNull()) {
        listener = new SleepListener(QCoreApplication::instance());
    }
    return listener;
}

void SleepListener::install()
{
    if (m_source) {
        return;
    }
    m_source = std::make_unique<SleepSource>();
    connect(m_source.get(), &SleepSource::aboutToSleep, this, &SleepListener::aboutToSleep);
    connect(m_source.get(), &SleepSource::didWakeUp, this, &SleepListener::didWakeUp);
}
