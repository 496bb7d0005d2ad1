#include "app/platform/foreground.h"

#include <QLocalSocket>

#include <qt_windows.h>

void grantForeground(const QLocalSocket &socket)
{
    ULONG server = 0;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): Qt returns the handle as a number
    if (GetNamedPipeServerProcessId(reinterpret_cast<HANDLE>(socket.socketDescriptor()), &server)) {
        AllowSetForegroundWindow(server);
    }
}
