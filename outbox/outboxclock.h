#pragma once

#include <chrono>

// How much time has passed for the messages that wait. Dates may jump: a computer without a battery
// starts in some past year and sets its clock later. So time is counted while the program runs, and
// between two runs only as far as both dates can be true. Pure values; any thread.
class OutboxClock
{
public:
    using Milliseconds = std::chrono::milliseconds;

    OutboxClock();
    // Continues a clock that showed `reading` when the computer's date was `date` (since 1970).
    void resume(Milliseconds reading, Milliseconds date);

    // Since the clock was started for the first time; never runs backwards.
    Milliseconds reading() const;
    // The computer's date.
    static Milliseconds date();

private:
    Milliseconds m_base{0};
    Milliseconds m_started; // uptime of the computer
};
