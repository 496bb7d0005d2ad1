#pragma once

#include <QObject>
#include <QSplashScreen>

class QVariant;
class ScanClock;
class ZugatewRunner;

// The steps of the start-up: each one is requested when the one before has its result. Interface
// thread.
class StartupChain : public QObject
{
    Q_OBJECT

public:
    // Both must outlive the last call of run() or advance().
    StartupChain(ZugatewRunner &runner, ScanClock &scanClock);

    // Requests the first step and runs a local event loop until finished(), or until the
    // application is told to exit. False when a step failed.
    [[nodiscard]] bool run();
    // From run() until the last step has succeeded; true for good when one failed.
    bool isRunning() const { return m_running; }
    // Requests the step that follows this result of the runner, if there is one.
    void advance(int op, const QVariant &result);

signals:
    void progress(int total, int completed, const QString &statusMsg);
    void finished(bool result);

private:
    void request(void (ZugatewRunner::*step)());

    ZugatewRunner &m_runner;
    ScanClock &m_scanClock;
    bool m_running = false;
};

// Shows the progress of the start-up. Interface thread.
class StartupSplash : public QSplashScreen
{
public:
    explicit StartupSplash(const StartupChain &chain);
};
