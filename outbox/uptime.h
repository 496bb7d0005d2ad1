#pragma once

#include <chrono>

// Since the computer started, sleep included. Any thread.
std::chrono::milliseconds uptime();
