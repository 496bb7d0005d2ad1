#include "tests/support/testclock.h"

#include <QByteArray>

#include <atomic>
#include <ctime>
#include <sys/syscall.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

std::atomic<std::chrono::nanoseconds> offset{0ns};

// QtTest's watchdog would end a test that advances the clock by minutes. ctest has its own.
const bool watchdogDisabled = qputenv("QTEST_FUNCTION_TIMEOUT", QByteArray("2000000000"));

} // namespace

// Replaces the C library's function in the whole process, Qt included.
extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock,
                                                                    timespec *now) noexcept
{
    const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, now));
    if (clock == CLOCK_MONOTONIC || clock == CLOCK_BOOTTIME) {
        const std::chrono::nanoseconds moved = std::chrono::seconds(now->tv_sec) +
                                               std::chrono::nanoseconds(now->tv_nsec) +
                                               offset.load();
        now->tv_sec = moved / 1s;
        now->tv_nsec = (moved % 1s).count();
    }
    return result;
}

bool testclock::canAdvance()
{
    return true;
}

void testclock::advance(std::chrono::milliseconds by)
{
    offset = offset.load() + by;
}
