#pragma once

#include <chrono>

// The time by which Qt's timers run. Tests move it on instead of waiting; timers that are due then
// fire in the next round of the event loop. Only in the threads whose event loop is woken anyway.
namespace testclock {

// False where the time cannot be moved: advance() waits there, and tests that need more than
// seconds are to be skipped.
bool canAdvance();
void advance(std::chrono::milliseconds by);

} // namespace testclock
