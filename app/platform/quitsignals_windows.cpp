#include "app/platform/quitsignals.h"

#include "app/platform/messagewindow_windows.h"

#include <QSemaphore>
#include <QThread>

namespace {

// Below the five seconds after which Windows takes a program for hung.
constexpr int longestWait = 4000; // milliseconds

// A thread of its own: when the last window has answered to the end of the session, the process is
// killed, and only somebody beside the event loop can hold the answer back until that has ended.
class QuitThread : public QThread
{
public:
    explicit QuitThread(QuitSignals *asker)
        : QThread(asker)
        , m_asker(asker)
    {
        start();
    }
    ~QuitThread() override
    {
        m_over.release();
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
        if (!sessionEnds && message != WM_CLOSE) { // the latter is how "taskkill" asks
            return std::nullopt;
        }
        QMetaObject::invokeMethod(m_asker, &QuitSignals::asked, Qt::QueuedConnection);
        if (sessionEnds) {
            m_over.tryAcquire(1, longestWait);
        }
        return 0;
    }

    QuitSignals *const m_asker;
    QSemaphore m_over; // available when the application has ended
};

} // namespace

QuitSignals::QuitSignals(QObject *parent)
    : QObject(parent)
{
    new QuitThread(this);
}

QuitSignals::~QuitSignals() = default;
