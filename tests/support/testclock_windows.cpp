#include "tests/support/testclock.h"

#include <thread>

bool testclock::canAdvance()
{
    return false; // the timers are the system's own
}

void testclock::advance(std::chrono::milliseconds by)
{
    std::this_thread::sleep_for(by);
}
