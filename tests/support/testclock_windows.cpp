#include "tests/support/testclock.h"

#include <thread>

bool testclock::canAdvance()
{
    return false; // Qt uses timers of Windows
}

void testclock::advance(std::chrono::milliseconds by)
{
    std::this_thread::sleep_for(by);
}
