#pragma once

#include <QObject>

#include <memory>

class SleepSource;

// Signals that the computer is about to sleep and that it woke up. One object for the process, on
// the main thread.
class SleepListener : public QObject
{
    Q_OBJECT

public:
    // Created at the first call as a child of the application object.
    static SleepListener *instance();
    ~SleepListener() override;

public slots:
    // Connects to the system's notifications, if it has any. A second call does nothing.
    void install();

signals:
    void aboutToSleep();
    void didWakeUp();

private:
    explicit SleepListener(QObject *parent);

    std::unique_ptr<SleepSource> m_source;
};
