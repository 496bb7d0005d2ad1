#pragma once

#include <QObject>

// The system's request to end the process (SIGINT, SIGTERM, SIGHUP) as a signal in the event loop,
// so that it ends in order. One instance, on the thread of the application object; where the
// platform has no such requests it does nothing.
class QuitSignals : public QObject
{
    Q_OBJECT

public:
    explicit QuitSignals(QObject *parent = nullptr);
    ~QuitSignals() override;

signals:
    void asked();
};
