// The file of the history: points come in the order of time, and folding leaves them as they are.
#include "history/historyfile.h"
#include "fuzz/database.h"
#include "history/historypoints.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr qint64 end = 1LL << 55; // milliseconds, after all hours

bool isSound(const HistoryPoint &p)
{
    return std::isnan(p.min) ? std::isnan(p.max) && std::isnan(p.last)
                             : p.min <= p.max && !(p.last < p.min) && !(p.last > p.max);
}

bool areSame(const HistoryPoint &a, const HistoryPoint &b)
{
    return a.time == b.time && isSameValue(a.min, b.min) && isSameValue(a.max, b.max) &&
           isSameValue(a.last, b.last);
}

} // namespace

void fuzz(const QByteArray &bytes)
{
    static const QString path = qEnvironmentVariable("HOME") + QLatin1String("/history.db");
    static const QByteArray sound = [] {
        require(
            HistoryFile(path).write(5, {{QStringLiteral("a"), QStringLiteral("b"), {1, 2, 1}}}));
        require(HistoryFile(path).fold());
        return contentOf(path);
    }();
    FuzzedDataProvider in(reinterpret_cast<const uint8_t *>(bytes.data()), size_t(bytes.size()));
    const qint64 minute = in.ConsumeIntegral<quint16>();
    const bool isChanged =
        makeDatabase(path, sound, in,
                     {"INSERT INTO series VALUES(?, ?, ?, ?)", "INSERT INTO minute VALUES(?, ?, ?)",
                      "INSERT INTO hour VALUES((? << 24) + ?, ?)", "UPDATE state SET written = ?"});
    HistoryFile file(path);
    const QVector<HistoryMember> members = file.members();
    const QVector<HistoryPoints> before = file.points(members, 0, end);
    const bool isFolded = file.fold();
    const QVector<HistoryPoints> after = file.points(members, 0, end);
    for (int i = 0; i < members.size(); ++i) {
        const HistoryPoints &points = before.at(i);
        require(std::all_of(points.begin(), points.end(), isSound));
        for (int j = 1; j < points.size(); ++j) {
            require(points.at(j - 1).time < points.at(j).time);
        }
        require(!isFolded || isChanged ||
                std::equal(points.begin(), points.end(), after.at(i).begin(), after.at(i).end(),
                           areSame));
        const HistoryPoints merged = mergePoints(clipPoints(points, 60000, minute * 60000), 3);
        require(merged.size() <= 3 && std::all_of(merged.begin(), merged.end(), isSound));
    }
    file.endOpenSeries(minute);
    const HistoryMember member{QStringLiteral("c"), QStringLiteral("d")};
    if (file.write(minute, {{member.device, member.member, {3, 3, 3}}})) {
        const HistoryPoints points = file.points({member}, 0, end).value(0);
        require(isChanged || std::any_of(points.begin(), points.end(), [&](const HistoryPoint &p) {
                    return p.time == minute * 60000;
                }));
    }
    file.prune(minute / 60, {1000, 50000, 1});
    require(!file.forget({member.device}) || isChanged || file.members(member.device).isEmpty());
}
