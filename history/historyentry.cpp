#include "history/historyentry.h"

#include <QtEndian>

#include <algorithm>

namespace {

constexpr int minuteBits = 0x3f;
constexpr int threeValues = 0x40; // minimum, maximum, last; otherwise they are the same
constexpr int floats = 0x80;      // of 4 bytes; otherwise doubles

bool isExactAsFloat(double value)
{
    return std::isnan(value) || (std::fabs(value) <= double(std::numeric_limits<float>::max()) &&
                                 double(float(value)) == value);
}

template <typename T>
void append(QByteArray &bytes, double value)
{
    char raw[sizeof(T)];
    qToLittleEndian<T>(T(value), raw);
    bytes.append(raw, sizeof raw);
}

} // namespace

void appendEntry(QByteArray &bytes, int minute, const HistoryEntry &entry)
{
    const std::array<double, 3> values = {entry.min, entry.max, entry.last};
    const bool isOne = isSameValue(entry.min, entry.max) && isSameValue(entry.max, entry.last);
    const bool areFloats = std::all_of(values.begin(), values.end(), isExactAsFloat);
    bytes.append(char(minute | (isOne ? 0 : threeValues) | (areFloats ? floats : 0)));
    for (int i = isOne ? 2 : 0; i < 3; ++i) {
        areFloats ? append<float>(bytes, values[i]) : append<double>(bytes, values[i]);
    }
}

bool readEntry(const char *&from, const char *end, int &minute, HistoryEntry &entry)
{
    if (from == end) {
        return false;
    }
    const int head = uchar(*from++);
    const int size = head & floats ? sizeof(float) : sizeof(double);
    const std::ptrdiff_t count = head & threeValues ? 3 : 1;
    minute = head & minuteBits;
    if (minute >= 60 || end - from < size * count) {
        return false;
    }
    std::array<double, 3> values;
    for (int i = 0; i < count; ++i, from += size) {
        values[i] = head & floats ? double(qFromLittleEndian<float>(from))
                                  : qFromLittleEndian<double>(from);
    }
    entry = count == 3 ? HistoryEntry{values[0], values[1], values[2]}
                       : HistoryEntry{values[0], values[0], values[0]};
    if (std::isnan(entry.min)) {
        return std::isnan(entry.max) && std::isnan(entry.last);
    }
    return std::isfinite(entry.min) && std::isfinite(entry.max) && entry.min <= entry.max &&
           (std::isnan(entry.last) || (entry.min <= entry.last && entry.last <= entry.max));
}

bool HistoryHour::add(const char *bytes, int size)
{
    HistoryHour sum = *this;
    const char *const end = bytes + size;
    int minute = 0;
    HistoryEntry entry;
    while (bytes != end) {
        if (!readEntry(bytes, end, minute, entry)) {
            return false;
        }
        sum.entries[minute].add(entry);
        sum.used.set(minute);
    }
    *this = sum;
    return true;
}

QByteArray HistoryHour::bytes() const
{
    QByteArray bytes;
    for (int minute = 0; minute < 60; ++minute) {
        if (used.test(minute)) {
            appendEntry(bytes, minute, entries[minute]);
        }
    }
    return bytes;
}
