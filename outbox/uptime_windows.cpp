#include "outbox/uptime.h"

#include <windows.h>

std::chrono::milliseconds uptime()
{
    return std::chrono::milliseconds(GetTickCount64());
}
