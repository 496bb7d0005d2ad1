#include "runner/runnerthread.h"

#include "runner/zugatewrunner.h"

RunnerThread::RunnerThread(QObject *parent)
    : QObject(parent)
    , m_runner(new ZugatewRunner)
{
    m_thread.setObjectName("runner");
    m_runner->moveToThread(&m_thread);
    // Deferred deletions are still carried out when a thread has left its event loop.
    connect(&m_thread, &QThread::finished, m_runner, &QObject::deleteLater);
}

RunnerThread::~RunnerThread()
{
    stop();
}

void RunnerThread::start()
{
    m_thread.start();
}

void RunnerThread::stop()
{
    if (m_runner == nullptr) {
        return;
    }
    ZugatewRunner *const runner = m_runner;
    m_runner = nullptr;
    if (!m_thread.isRunning()) {
        delete runner;
        return;
    }
    QMetaObject::invokeMethod(
        runner,
        [runner] {
            runner->shutdown();
            runner->thread()->quit();
        },
        Qt::QueuedConnection);
    m_thread.wait();
}
