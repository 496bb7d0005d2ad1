#include "outbox/uptime.h"

#include <ctime>

using namespace std::chrono;

milliseconds uptime()
{
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return duration_cast<milliseconds>(seconds(now.tv_sec) + nanoseconds(now.tv_nsec));
}
