#pragma once

#include <qt_windows.h>

#include <functional>
#include <optional>

// A hidden window for messages that Windows sends to top-level windows only: in the tray, the
// gateway need not have another. It belongs to the thread that creates it, which must handle
// messages.
class MessageWindow
{
public:
    // Returns the answer to a message, or none for Windows' default.
    using Handler = std::function<std::optional<LRESULT>(UINT message, WPARAM parameter)>;

    explicit MessageWindow(Handler handler);
    ~MessageWindow();
    MessageWindow(const MessageWindow &) = delete;
    MessageWindow &operator=(const MessageWindow &) = delete;

    // Null when it could not be created.
    HWND handle() const { return m_window; }

private:
    static LRESULT CALLBACK handle(HWND window, UINT message, WPARAM parameter, LPARAM more);

    const Handler m_handler;
    HWND m_window;
};
