#include "app/platform/quitsignals.h"

#include "app/platform/messagewindow_windows.h"

#include <QSemaphore>
#include <QThread>

namespace {

// Windows treats a program as hung after five seconds.
constexpr int maxWait = 4000; // milliseconds

// Windows kills the process when its last window has answered WM_ENDSESSION. The answer must wait
// until the main event loop has ended, so the window needs a thread of its own.
class QuitThread : public QThread
{
public:
    explicit QuitThread(QuitSignals *quitSignals)
        : QThread(quitSignals)
        , m_quitSignals(quitSignals)
    {
        start();
    }
    ~QuitThread() override
    {
        m_ended.release();
        quit();
        wait();
    }

protected:
    void run() override
    {
        const MessageWindow window(
            [this](UINT message, WPARAM parameter) { return answer(message, parameter); });
        exec();
    }

private:
    std::optional<LRESULT> answer(UINT message, WPARAM parameter)
    {
        const bool sessionEnds = message == WM_ENDSESSION && parameter != 0;
        if (!sessionEnds && message != WM_CLOSE) { // "taskkill" sends WM_CLOSE
            return std::nullopt;
        }
        QMetaObject::invokeMethod(m_quitSignals, &QuitSignals::quitRequested, Qt::QueuedConnection);
        if (sessionEnds) {
            m_ended.tryAcquire(1, maxWait);
        }
        return 0;
    }

    QuitSignals *const m_quitSignals;
    QSemaphore m_ended; // available when QuitSignals is destroyed
};

} // namespace

QuitSignals::QuitSignals(QObject *parent)
    : QObject(parent)
{
    new QuitThread(this);
}

QuitSignals::~QuitSignals() = default;
