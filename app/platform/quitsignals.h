#pragma once

#include <QObject>

// Turns the system's requests to end the process into a signal of the event loop: SIGINT, SIGTERM
// and SIGHUP; on Windows, the end of the session and WM_CLOSE for a hidden window. One object, on
// the main thread. Destroy it when all data is stored: until then, and for a few seconds at most,
// it delays the end of a Windows session.
class QuitSignals : public QObject
{
    Q_OBJECT

public:
    explicit QuitSignals(QObject *parent = nullptr);
    ~QuitSignals() override;

signals:
    void quitRequested();
};
