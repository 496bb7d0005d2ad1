#pragma once

#include <QObject>

#include <memory>

class SleepSource;

// Tells that the computer is about to sleep and that it woke up. One for the process, on the
// thread of the application object.
class SleepListener : public QObject
{
    Q_OBJECT

public:
    // Made at the first call, which needs the application object; goes with it.
    static SleepListener *instance();
    ~SleepListener() override;

public slots:
    // Attaches the listener to the system's notifications. A second call does nothing; neither
    // does the first where the system has none.
    void install();

signals:
    void aboutToSleep();
    void didWakeUp();

private:
    explicit SleepListener(QObject *parent);

    std::unique_ptr<SleepSource> m_source;
};
