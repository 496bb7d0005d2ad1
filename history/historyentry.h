#pragma once

#include <QByteArray>

#include <array>
#include <bitset>
#include <cmath>
#include <limits>

// A member's values within one minute. Any thread.
struct HistoryEntry
{
    static constexpr double unknown = std::numeric_limits<double>::quiet_NaN();

    double min = unknown; // unknown: there was no value in this minute
    double max = unknown;
    double last = unknown; // unknown: a gap begins

    void add(const HistoryEntry &later)
    {
        min = std::fmin(min, later.min); // of a number and NaN, the number
        max = std::fmax(max, later.max);
        last = later.last;
    }
};

// Whether they are equal or both unknown.
inline bool isSameValue(double a, double b)
{
    return a == b || (std::isnan(a) && std::isnan(b));
}

// As bytes: the minute of the hour and two flags, then one value or three, as floats where these
// are exact. Appends them; `minute` is 0 to 59.
void appendEntry(QByteArray &bytes, int minute, const HistoryEntry &entry);
// Moves `from` behind an entry. False if the bytes are none that appendEntry() made.
[[nodiscard]] bool readEntry(const char *&from, const char *end, int &minute, HistoryEntry &entry);

// The entries of an hour. Several of one minute are merged.
struct HistoryHour
{
    std::array<HistoryEntry, 60> entries;
    std::bitset<60> used;

    // Adds later entries; none, and false, if the bytes are wrong.
    bool add(const char *bytes, int size);
    QByteArray bytes() const;
};
