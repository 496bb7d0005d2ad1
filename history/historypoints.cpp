#include "history/historypoints.h"

#include <algorithm>
#include <cmath>

namespace {

bool isEarlier(const HistoryPoint &point, qint64 time)
{
    return point.time < time;
}

} // namespace

HistoryPoints joinPoints(HistoryPoints stored, const HistorySamples &samples)
{
    if (!samples.empty()) {
        stored.erase(
            std::lower_bound(stored.begin(), stored.end(), samples.front().time, isEarlier),
            stored.end());
    }
    stored.reserve(stored.size() + int(samples.size()));
    for (const HistorySample &sample : samples) {
        stored.append({sample.time, sample.value, sample.value, sample.value});
    }
    return stored;
}

HistoryPoints clipPoints(const HistoryPoints &points, qint64 from, qint64 to)
{
    HistoryPoints clipped;
    if (from > to) {
        return clipped;
    }
    const auto first = std::lower_bound(points.begin(), points.end(), from, isEarlier);
    const auto end = std::lower_bound(first, points.end(), to + 1, isEarlier);
    clipped.reserve(int(end - first) + 2);
    const bool isKnown = first != points.begin() && !std::isnan((first - 1)->last);
    if (isKnown && (first == end || first->time > from)) {
        const double held = (first - 1)->last;
        clipped.append({from, held, held, held});
    }
    std::copy(first, end, std::back_inserter(clipped));
    if (!clipped.isEmpty() && !std::isnan(clipped.last().last) && clipped.last().time < to) {
        const double held = clipped.last().last;
        clipped.append({to, held, held, held});
    }
    return clipped;
}

HistoryPoints mergePoints(const HistoryPoints &points, int maxPoints)
{
    if (maxPoints <= 0 || points.size() <= maxPoints) {
        return points;
    }
    // The last point stands for the end of the range: it stays where it is.
    const bool keepsEnd = maxPoints > 1;
    const auto end = points.end() - (keepsEnd ? 1 : 0);
    const int stretches = maxPoints - (keepsEnd ? 1 : 0);
    const qint64 begin = points.first().time;
    const qint64 length = qMax(qint64(1), ((end - 1)->time - begin) / stretches + 1);
    HistoryPoints merged;
    merged.reserve(maxPoints);
    qint64 stretch = -1;
    for (auto point = points.begin(); point != end; ++point) {
        const qint64 next = (point->time - begin) / length;
        if (next != stretch) {
            merged.append(*point);
            stretch = next;
            continue;
        }
        HistoryPoint &sum = merged.last();
        sum.min = std::fmin(sum.min, point->min);
        sum.max = std::fmax(sum.max, point->max);
        sum.last = point->last;
    }
    if (keepsEnd) {
        merged.append(*end);
    }
    return merged;
}
