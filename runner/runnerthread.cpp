#include "runner/runnerthread.h"

#include "runner/log.h"
#include "runner/zugatewrunner.h"
#include "watch/runwatch.h"

#include <chrono>

using namespace std::chrono_literals;

RunnerThread::RunnerThread(QObject *parent)
    : QObject(parent)
    , m_thread(std::make_unique<QThread>())
    , m_runner(new ZugatewRunner)
{
    m_thread->setObjectName("runner");
    m_runner->moveToThread(m_thread.get());
    // Deferred deletions are still carried out when a thread has left its event loop.
    connect(m_thread.get(), &QThread::finished, m_runner, &QObject::deleteLater);
}

RunnerThread::~RunnerThread()
{
    stop();
}

void RunnerThread::start()
{
    m_thread->start();
}

void RunnerThread::stop()
{
    if (m_runner == nullptr) {
        return;
    }
    ZugatewRunner *const runner = m_runner;
    m_runner = nullptr;
    if (!m_thread->isRunning()) {
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
    constexpr std::chrono::milliseconds limit = 15s; // ending the connection takes 2.5 s at most
    if (!m_thread->wait(QDeadlineTimer(limit))) {
        qCCritical(lcRunner, "A device type does not return from a call; the program ends without");
        runwatch::keepBlame();
        static_cast<void>(m_thread.release()); // destroying a running thread would abort
    }
}
