#pragma once

#include <qt_windows.h>

#include <functional>
#include <optional>

// A window that is never shown, for what Windows says to the top-level windows of a program only:
// the gateway in the tray has none else that is sure to be there. Lives on the thread that makes
// it, which has to handle messages.
class MessageWindow
{
public:
    // The answer to a message; none leaves it to Windows.
    using Handler = std::function<std::optional<LRESULT>(UINT message, WPARAM parameter)>;

    explicit MessageWindow(Handler handler);
    ~MessageWindow();
    MessageWindow(const MessageWindow &) = delete;
    MessageWindow &operator=(const MessageWindow &) = delete;

    // Null when there could be none.
    HWND handle() const { return m_window; }

private:
    static LRESULT CALLBACK handle(HWND window, UINT message, WPARAM parameter, LPARAM more);

    const Handler m_handler;
    HWND m_window;
};
