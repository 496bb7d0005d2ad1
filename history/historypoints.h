#pragma once

#include "history/historysource.h"

#include <vector>

// A member's value from a moment on; NaN: nothing is known.
struct HistorySample
{
    qint64 time; // milliseconds since 1970
    double value;
};
using HistorySamples = std::vector<HistorySample>;

// Pure functions on points and samples in the order of their times. Any thread.

// The stored points before the first sample, and the samples.
HistoryPoints joinPoints(HistoryPoints stored, const HistorySamples &samples);
// What is from `from` to `to`: it begins with the value that held at `from`, and ends with one at
// `to`, where they are known.
HistoryPoints clipPoints(const HistoryPoints &points, qint64 from, qint64 to);
// At most `maxPoints` (0: all), of stretches of equal length.
HistoryPoints mergePoints(const HistoryPoints &points, int maxPoints);
