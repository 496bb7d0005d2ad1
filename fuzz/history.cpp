// Devices' states on their way into the history. Lines: a state, or milliseconds that pass.
#include "history/history.h"
#include "fuzz/fuzz.h"

#include <QJsonDocument>

namespace {

constexpr qint64 hour = 3600000;
constexpr qint64 stands = 2000; // so far back the clock may go while time stands still
qint64 now = 0;

} // namespace

void fuzz(const QByteArray &bytes)
{
    now = 1000 * hour;
    // A file that cannot be: the target for files is historyfile.
    History history(QStringLiteral("/dev/null/history.db"), {}, [] { return now; });
    const QString device = QStringLiteral("lamp_1_1");
    const QByteArrayList lines = bytes.split('\n');
    for (const QByteArray &line : lines) {
        const QJsonObject state = QJsonDocument::fromJson(line).object();
        if (state.isEmpty()) {
            now = qMax(hour, now + line.toInt());
            continue;
        }
        history.record(device, state);
        // Qt sorts names that differ behind a NUL in one way, and searches them in another.
        const bool isSearchable = !line.contains('\0') && !line.contains("\\u0000");
        for (auto member = state.begin(); member != state.end(); ++member) {
            const HistoryPoints points = history.recent(device, member.key());
            qint64 time = now - hour;
            for (const HistoryPoint &point : points) {
                require(time <= point.time && point.time <= now + stands);
                time = point.time;
            }
            if (member->isDouble() && member.key().size() <= 128 && bytes.count(':') <= 64 &&
                !member.key().contains('.') && isSearchable) {
                require(!points.isEmpty() && points.last().last == member->toDouble());
            }
        }
    }
}
