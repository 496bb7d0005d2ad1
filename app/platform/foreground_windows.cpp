#include "app/platform/foreground.h"

#include <QLocalSocket>

#include <qt_windows.h>

void grantForeground(const QLocalSocket &socket)
{
    ULONG server = 0;
    if (GetNamedPipeServerProcessId(reinterpret_cast<HANDLE>(socket.socketDescriptor()), &server)) {
        AllowSetForegroundWindow(server);
    }
}
