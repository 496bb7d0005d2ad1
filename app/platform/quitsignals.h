#pragma once

#include <QObject>

// The system's request to end the process as a signal in the event loop, so that it ends in order:
// SIGINT, SIGTERM and SIGHUP; on Windows, the end of the session and WM_CLOSE for a hidden window.
// One instance, on the thread of the application object, to go when everything is stored: Windows
// waits for that, some seconds at the most, before it ends the session.
class QuitSignals : public QObject
{
    Q_OBJECT

public:
    explicit QuitSignals(QObject *parent = nullptr);
    ~QuitSignals() override;

signals:
    void asked();
};
