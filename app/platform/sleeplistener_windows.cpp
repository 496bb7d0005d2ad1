#include "app/sleeplistener.h"

#include "app/platform/messagewindow_windows.h"

#include <QLibrary>

namespace {

class PowerWindow : public QObject
{
public:
    explicit PowerWindow(SleepListener *listener)
        : QObject(listener)
        , m_window([listener](UINT message, WPARAM event) -> std::optional<LRESULT> {
            if (message != WM_POWERBROADCAST) {
                return std::nullopt;
            }
            if (event == PBT_APMSUSPEND) {
                listener->sleepChanged(true);
            } else if (event == PBT_APMRESUMEAUTOMATIC || event == PBT_APMRESUMESUSPEND) {
                listener->sleepChanged(false); // RESUMESUSPEND follows when the user is present
            }
            return TRUE;
        })
    {
        // With modern standby only registered windows are notified. Windows 7 has no such function.
        using Register = HPOWERNOTIFY(WINAPI *)(HANDLE, DWORD);
        const auto registerWindow = reinterpret_cast<Register>(
            QLibrary::resolve(QStringLiteral("user32"), "RegisterSuspendResumeNotification"));
        if (registerWindow != nullptr) {
            registerWindow(m_window.handle(), DEVICE_NOTIFY_WINDOW_HANDLE);
        }
    }

private:
    const MessageWindow m_window;
};

} // namespace

void SleepListener::install()
{
    new PowerWindow(this);
}
