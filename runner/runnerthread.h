#pragma once

#include <QObject>
#include <QThread>

#include <memory>

class ZugatewRunner;

// The worker thread and the runner on it. Lives on the interface thread. Connect to runner()'s
// signals and call its slots queued.
class RunnerThread : public QObject
{
    Q_OBJECT

public:
    explicit RunnerThread(QObject *parent = nullptr);
    // Stops, if that has not been done.
    ~RunnerThread() override;

    // Valid until stop().
    ZugatewRunner *runner() const { return m_runner; }
    void start();
    // Ends the cloud connection, the runner and the thread, and waits for it: well under a second
    // when the network answers, three at the most when it does not, and up to fifteen while a
    // plugin's call is under way. The thread of one that does not return by then is left behind:
    // the process must end. Further calls do nothing.
    void stop();

private:
    std::unique_ptr<QThread> m_thread;
    ZugatewRunner *m_runner; // deleted on its own thread
};
