#include "app/platform/messagewindow_windows.h"

#include "app/log.h"

#include <utility>

MessageWindow::MessageWindow(Handler handler)
    : m_handler(std::move(handler))
{
    WNDCLASSW kind = {};
    kind.lpfnWndProc = handle;
    kind.hInstance = GetModuleHandleW(nullptr);
    kind.lpszClassName = L"KvgMessageWindow";
    RegisterClassW(&kind); // fails when it is registered already
    m_window = CreateWindowExW(0, kind.lpszClassName, L"", WS_OVERLAPPED, 0, 0, 0, 0, nullptr,
                               nullptr, kind.hInstance, nullptr);
    if (m_window == nullptr) {
        qCWarning(lcApp, "Cannot create a window for the system's messages: error %lu",
                  GetLastError());
        return;
    }
    SetWindowLongPtrW(m_window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
}

MessageWindow::~MessageWindow()
{
    if (m_window != nullptr) {
        DestroyWindow(m_window);
    }
}

LRESULT CALLBACK MessageWindow::handle(HWND window, UINT message, WPARAM parameter, LPARAM more)
{
    const auto *const self = // NOLINTNEXTLINE(performance-no-int-to-ptr): Windows stores numbers
        reinterpret_cast<const MessageWindow *>(GetWindowLongPtrW(window, GWLP_USERDATA));
    const std::optional<LRESULT> answer =
        self != nullptr ? self->m_handler(message, parameter) : std::nullopt;
    return answer ? *answer : DefWindowProcW(window, message, parameter, more);
}
