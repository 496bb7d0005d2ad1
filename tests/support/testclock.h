#pragma once

#include <chrono>

// The clock of Qt's timers. Tests advance it instead of waiting; timers that are then due fire in
// the next pass of the event loop. Does not wake the event loops of other threads.
namespace testclock {

// False if advance() must wait instead; then skip tests that need more than seconds.
bool canAdvance();
void advance(std::chrono::milliseconds by);

} // namespace testclock
