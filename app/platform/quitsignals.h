#pragma once

#include <QObject>

// Turns the system's request to end the process (SIGINT, SIGTERM, SIGHUP) into the orderly end of
// the event loop. One instance, on the thread of the application object; where the platform has
// no such signals it does nothing.
class QuitSignals : public QObject
{
    Q_OBJECT

public:
    explicit QuitSignals(QObject *parent = nullptr);
    ~QuitSignals() override;
};
