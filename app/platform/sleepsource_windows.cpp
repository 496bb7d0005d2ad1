#include "app/platform/sleepsource.h"

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>

#include <qt_windows.h>

namespace {

class PowerFilter : public QObject, public QAbstractNativeEventFilter
{
public:
    explicit PowerFilter(SleepSource *source)
        : QObject(source)
        , m_source(source)
    {
        QCoreApplication::instance()->installNativeEventFilter(this);
    }

    // Every window of the application gets the message.
    bool nativeEventFilter(const QByteArray & /*eventType*/, void *message,
                           long * /*result*/) override
    {
        const MSG *const msg = static_cast<MSG *>(message);
        if (msg->message == WM_POWERBROADCAST) {
            if (msg->wParam == PBT_APMSUSPEND) {
                m_source->sleepChanged(true);
            } else if (msg->wParam == PBT_APMRESUMEAUTOMATIC) {
                m_source->sleepChanged(false);
            }
        }
        return false;
    }

private:
    SleepSource *const m_source;
};

} // namespace

SleepSource::SleepSource()
{
    new PowerFilter(this);
}
