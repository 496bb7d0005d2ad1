#include "history/historyfile.h"

#include "history/log.h"

#include <QFile>
#include <QHash>
#include <QtEndian>

#include <sqlite3.h>

#include <algorithm>
#include <map>

namespace {

constexpr int applicationId = 0x4b564849;         // marks the file as a history
constexpr int maxRowSize = 64 * 1024 * 1024;      // bytes, of any text or blob
constexpr qint64 maxUnfolded = 4LL * 1024 * 1024; // bytes; fold() needs about twice that in memory
constexpr qint64 minUnusedPages = 256;            // that are worth giving back
constexpr qint64 minute = 60000;                  // milliseconds
constexpr qint64 hour = 60 * minute;
constexpr int hourBits = 24;
constexpr qint64 hoursEnd = 1LL << hourBits;

// The key of an hour of a series: an integer key, so that the rows of a series lie together.
qint64 hourKey(quint32 series, qint64 hours)
{
    return (qint64(series) << hourBits) + qBound(qint64(0), hours, hoursEnd - 1);
}

void bindText(sqlite3_stmt *statement, int index, const QString &text)
{
    const QByteArray utf8 = text.toUtf8();
    sqlite3_bind_text(statement, index, utf8.constData(), utf8.size(), SQLITE_TRANSIENT);
}

void bindBlob(sqlite3_stmt *statement, int index, const QByteArray &bytes)
{
    sqlite3_bind_blob(statement, index, bytes.constData(), bytes.size(), SQLITE_TRANSIENT);
}

QString textOf(sqlite3_stmt *statement, int column)
{
    const auto *const text = reinterpret_cast<const char *>(sqlite3_column_text(statement, column));
    return QString::fromUtf8(text, sqlite3_column_bytes(statement, column));
}

QByteArray blobOf(sqlite3_stmt *statement, int column)
{
    const auto *const data = static_cast<const char *>(sqlite3_column_blob(statement, column));
    return QByteArray(data, sqlite3_column_bytes(statement, column));
}

// In the row of a minute each entry follows the number of its series.
void appendChange(QByteArray &row, quint32 series, qint64 minutes, const HistoryEntry &entry)
{
    const quint32 little = qToLittleEndian(series);
    row.append(reinterpret_cast<const char *>(&little), sizeof little);
    appendEntry(row, int(minutes % 60), entry);
}

// Calls `each(series, bytes, size, entry)`. Ignores what follows after a wrong byte.
template <typename Call>
void forEachChange(const QByteArray &row, qint64 minutes, const Call &each)
{
    const char *from = row.constData();
    const char *const end = from + row.size();
    while (end - from > qint64(sizeof(quint32))) {
        const auto series = qFromLittleEndian<quint32>(from);
        const char *const bytes = from += sizeof series;
        int minuteOfHour = 0;
        HistoryEntry entry;
        if (!readEntry(from, end, minuteOfHour, entry) || minuteOfHour != minutes % 60) {
            return;
        }
        each(series, bytes, int(from - bytes), entry);
    }
}

// Later entries of the same minute, and minutes that came again after the clock was put back.
void sortAndMerge(HistoryPoints &points)
{
    const auto disorder = std::adjacent_find(
        points.begin(), points.end(),
        [](const HistoryPoint &a, const HistoryPoint &b) { return a.time >= b.time; });
    if (disorder == points.end()) {
        return;
    }
    const auto isEarlier = [](const HistoryPoint &a, const HistoryPoint &b) {
        return a.time < b.time;
    };
    std::stable_sort(points.begin(), points.end(), isEarlier);
    auto last = points.begin();
    for (auto point = last + 1; point != points.end(); ++point) {
        if (point->time == last->time) {
            HistoryEntry sum{last->min, last->max, last->last};
            sum.add({point->min, point->max, point->last});
            *last = {last->time, sum.min, sum.max, sum.last};
        } else {
            *++last = *point;
        }
    }
    points.erase(last + 1, points.end());
}

} // namespace

HistoryFile::HistoryFile(const QString &path)
    : DatabaseFile(path, lcHistory)
{
}

// A change; the statement can be used again.
bool HistoryFile::step(const Statement &statement)
{
    const bool good = check(sqlite3_step(statement.get()), "write");
    sqlite3_reset(statement.get());
    return good;
}

// Whether there is another row.
bool HistoryFile::next(const Statement &statement)
{
    const int result = sqlite3_step(statement.get());
    return check(result, "read") && result == SQLITE_ROW;
}

bool HistoryFile::transact(const std::function<bool()> &change)
{
    const bool good = run("BEGIN IMMEDIATE") && change() && !m_damaged && run("COMMIT");
    if (good) {
        noteWritten();
    } else {
        rollback();
    }
    return good;
}

bool HistoryFile::openExisting()
{
    return (isOpen() || exists()) && open();
}

bool HistoryFile::open()
{
    if (isDamaged()) {
        setAside();
    }
    if (isOpen()) {
        return true;
    }
    const auto openFile = [this] {
        return DatabaseFile::open(
            applicationId,
            // `value`: the last one that was folded; none in a gap.
            "CREATE TABLE series(id INTEGER PRIMARY KEY, device TEXT NOT NULL, "
            "member TEXT NOT NULL, value REAL, UNIQUE(device, member));"
            "CREATE TABLE minute(number INTEGER PRIMARY KEY, minute INTEGER NOT NULL, "
            "data BLOB NOT NULL);"
            "CREATE TABLE hour(key INTEGER PRIMARY KEY, data BLOB NOT NULL);"
            // `written`: the last minute; 0 when no series is open.
            "CREATE TABLE state(written INTEGER NOT NULL); INSERT INTO state VALUES(0);",
            [this] { return isOurs(); });
    };
    bool good = openFile();
    if (!good && isDamaged()) {
        setAside();
        good = openFile();
    }
    if (good) {
        sqlite3_limit(m_db.get(), SQLITE_LIMIT_LENGTH, maxRowSize);
    }
    // Synced at checkpoints alone; names are overwritten.
    return good && run("PRAGMA secure_delete = ON; PRAGMA synchronous = NORMAL;");
}

bool HistoryFile::isOurs()
{
    return prepare("SELECT id, device, member, value FROM series") &&
           prepare("SELECT number, minute, data FROM minute") &&
           prepare("SELECT key, data FROM hour") &&
           // A new series gets the number after the greatest, which must fit into 32 bits.
           number("SELECT EXISTS(SELECT 1 FROM series WHERE id < 1 OR id >= 1 << 31)") == 0 &&
           number("SELECT count(written) FROM state") == 1 &&
           number("SELECT count(*) FROM sqlite_master") == 5 &&
           number("PRAGMA freelist_count") >= 0;
}

bool HistoryFile::endOpenSeries(qint64 minutes)
{
    if (!openExisting() || !fold()) {
        return false;
    }
    const qint64 written = number("SELECT written FROM state");
    if (written <= 0 || written >= hoursEnd * 60) {
        return true;
    }
    const qint64 end = written == minutes ? minutes : written + 1;
    QByteArray row;
    const Statement select = prepare("SELECT id FROM series WHERE value IS NOT NULL");
    while (next(select)) {
        appendChange(row, quint32(sqlite3_column_int64(select.get(), 0)), end, {});
    }
    return transact([&] {
        const Statement insert = prepare("INSERT INTO minute(minute, data) VALUES(?, ?)");
        sqlite3_bind_int64(insert.get(), 1, end);
        bindBlob(insert.get(), 2, row);
        return step(insert) && run("UPDATE state SET written = 0");
    });
}

// 0 if there is none.
quint32 HistoryFile::seriesId(const Statement &select, const QString &device, const QString &member)
{
    bindText(select.get(), 1, device);
    bindText(select.get(), 2, member);
    const qint64 id = next(select) ? sqlite3_column_int64(select.get(), 0) : 0;
    sqlite3_reset(select.get());
    return id > 0 && id <= std::numeric_limits<quint32>::max() ? quint32(id) : 0;
}

namespace {
constexpr char selectId[] = "SELECT id FROM series WHERE device = ? AND member = ?";
}

bool HistoryFile::write(qint64 minutes, const QVector<Change> &changes)
{
    if (!open()) {
        return false;
    }
    QByteArray row;
    const bool good = transact([&] {
        const Statement select = prepare(selectId);
        const Statement create = prepare("INSERT INTO series(device, member) VALUES(?, ?)");
        for (const Change &change : changes) {
            quint32 id = seriesId(select, change.device, change.member);
            if (id == 0) {
                bindText(create.get(), 1, change.device);
                bindText(create.get(), 2, change.member);
                if (!step(create)) {
                    return false;
                }
                id = quint32(sqlite3_last_insert_rowid(m_db.get()));
            }
            appendChange(row, id, minutes, change.entry);
        }
        const Statement insert = prepare("INSERT INTO minute(minute, data) VALUES(?, ?)");
        sqlite3_bind_int64(insert.get(), 1, minutes);
        bindBlob(insert.get(), 2, row);
        const Statement update = prepare("UPDATE state SET written = ?");
        sqlite3_bind_int64(update.get(), 1, minutes);
        return step(insert) && step(update);
    });
    m_unfolded += good ? row.size() : 0;
    if (m_unfolded > maxUnfolded) {
        fold();
    }
    return good;
}

bool HistoryFile::setEnded()
{
    return openExisting() && transact([this] { return run("UPDATE state SET written = 0"); });
}

bool HistoryFile::fold()
{
    m_unfolded = 0; // after a failure, it is tried again after as many bytes
    return openExisting() && transact([this] {
               std::map<qint64, QByteArray> bytesByKey;
               const Statement rows = prepare("SELECT minute, data FROM minute ORDER BY number");
               while (next(rows)) {
                   const qint64 minutes = sqlite3_column_int64(rows.get(), 0);
                   if (minutes < 0 || minutes >= hoursEnd * 60) {
                       continue;
                   }
                   forEachChange(
                       blobOf(rows.get(), 1), minutes,
                       [&](quint32 series, const char *bytes, int size, const HistoryEntry &) {
                           bytesByKey[hourKey(series, minutes / 60)].append(bytes, size);
                       });
               }
               const Statement update = prepare("UPDATE series SET value = ? WHERE id = ?");
               const Statement select = prepare("SELECT data FROM hour WHERE key = ?");
               const Statement replace = prepare("REPLACE INTO hour VALUES(?, ?)");
               for (const auto &[key, bytes] : bytesByKey) {
                   HistoryHour entries;
                   sqlite3_bind_int64(select.get(), 1, key);
                   if (next(select)) {
                       const QByteArray stored = blobOf(select.get(), 0);
                       entries.add(stored.constData(), stored.size());
                   }
                   sqlite3_reset(select.get());
                   entries.add(bytes.constData(), bytes.size());
                   int last = 59;
                   while (!entries.used.test(std::size_t(last))) {
                       --last;
                   }
                   sqlite3_bind_double(update.get(), 1, entries.entries[std::size_t(last)].last);
                   sqlite3_bind_int64(update.get(), 2, key >> hourBits);
                   if (!step(update)) {
                       return false;
                   }
                   if (sqlite3_changes(m_db.get()) == 0) {
                       continue; // a series that there is not
                   }
                   sqlite3_bind_int64(replace.get(), 1, key);
                   bindBlob(replace.get(), 2, entries.bytes());
                   if (!step(replace)) {
                       return false;
                   }
               }
               return run("DELETE FROM minute");
           });
}

qint64 HistoryFile::usedBytes()
{
    return (number("PRAGMA page_count") - number("PRAGMA freelist_count")) *
           number("PRAGMA page_size");
}

bool HistoryFile::dropBefore(qint64 hours)
{
    // By series: the condition on the key finds the rows without a look at all of them.
    const Statement remove =
        prepare("DELETE FROM hour WHERE key IN (SELECT hour.key FROM series CROSS JOIN hour "
                "ON hour.key >= series.id << 24 AND hour.key < (series.id << 24) + ?)");
    sqlite3_bind_int64(remove.get(), 1, qBound(qint64(0), hours, hoursEnd));
    return step(remove);
}

bool HistoryFile::prune(qint64 hours, const HistoryLimits &limits)
{
    if (!fold()) { // a series of minutes alone would look empty, and its number be used again
        return false;
    }
    const qint64 maxUsed = limits.file / 10 * 9; // the rest is for what comes within an hour
    const bool good = transact([&] {
        const auto oldest = [this] {
            return number("SELECT min((SELECT min(key) FROM hour WHERE key >= id << 24) & 16777215)"
                          " FROM series");
        };
        bool isDropped = dropBefore(std::min(oldest() + 6, hours - limits.days * 24LL));
        // Half a day each time. A sound file needs no hundred, and other files need not be kept.
        for (int i = 0; isDropped && i < 100 && usedBytes() > maxUsed; ++i) {
            isDropped = dropBefore(oldest() + 12);
        }
        isDropped = isDropped && (usedBytes() <= maxUsed || run("DELETE FROM hour"));
        return isDropped &&
               run("DELETE FROM series WHERE NOT EXISTS (SELECT 1 FROM hour WHERE "
                   "hour.key >= series.id << 24 AND hour.key < (series.id + 1) << 24)");
    });
    return good &&
           (number("PRAGMA freelist_count") < minUnusedPages || run("PRAGMA incremental_vacuum"));
}

bool HistoryFile::forget(const QStringList &devices)
{
    QFile::remove(m_path + QLatin1String(".damaged"));
    return openExisting() && fold() && transact([&] { // after fold() no minute names a series
               const Statement hours = prepare(
                   "DELETE FROM hour WHERE key IN (SELECT hour.key FROM series CROSS JOIN hour "
                   "ON hour.key >= series.id << 24 AND hour.key < (series.id + 1) << 24 "
                   "WHERE series.device = ?)");
               const Statement series = prepare("DELETE FROM series WHERE device = ?");
               return std::all_of(devices.begin(), devices.end(), [&](const QString &device) {
                   bindText(hours.get(), 1, device);
                   bindText(series.get(), 1, device);
                   return step(hours) && step(series);
               });
           }) &&
           run("PRAGMA wal_checkpoint(TRUNCATE)");
}

QVector<HistoryMember> HistoryFile::members(const QString &device)
{
    QVector<HistoryMember> members;
    if (openExisting()) {
        const Statement select = prepare(
            device.isNull() ? "SELECT device, member FROM series ORDER BY device, member"
                            : "SELECT device, member FROM series WHERE device = ? ORDER BY member");
        if (!device.isNull()) {
            bindText(select.get(), 1, device);
        }
        while (next(select)) {
            members.append({textOf(select.get(), 0), textOf(select.get(), 1)});
        }
    }
    return members;
}

QVector<HistoryPoints> HistoryFile::points(const QVector<HistoryMember> &members, qint64 from,
                                           qint64 to)
{
    QVector<HistoryPoints> points(members.size());
    if (members.isEmpty() || !openExisting()) {
        return points;
    }
    const Statement ids = prepare(selectId);
    const Statement previous = prepare("SELECT max(key) FROM hour WHERE key >= ? AND key < ?");
    const Statement hours =
        prepare("SELECT key, data FROM hour WHERE key BETWEEN ? AND ? ORDER BY key");
    QHash<quint32, int> indexById;
    for (int i = 0; i < members.size(); ++i) {
        const quint32 id = seriesId(ids, members.at(i).device, members.at(i).member);
        if (id == 0) {
            continue;
        }
        indexById.insert(id, i);
        // Also the hour before, whose last value held when the first of these began.
        sqlite3_bind_int64(previous.get(), 1, hourKey(id, 0));
        sqlite3_bind_int64(previous.get(), 2, hourKey(id, from / hour));
        const qint64 first = next(previous) ? sqlite3_column_int64(previous.get(), 0) : 0;
        sqlite3_reset(previous.get());
        sqlite3_bind_int64(hours.get(), 1, first > 0 ? first : hourKey(id, from / hour));
        sqlite3_bind_int64(hours.get(), 2, hourKey(id, to / hour));
        while (next(hours)) {
            const qint64 begin = (sqlite3_column_int64(hours.get(), 0) & (hoursEnd - 1)) * hour;
            const QByteArray bytes = blobOf(hours.get(), 1);
            HistoryHour entries;
            entries.add(bytes.constData(), bytes.size());
            for (std::size_t m = 0; m < entries.entries.size(); ++m) {
                if (entries.used.test(m)) {
                    const HistoryEntry &entry = entries.entries[m];
                    points[i].append(
                        {begin + qint64(m) * minute, entry.min, entry.max, entry.last});
                }
            }
        }
        sqlite3_reset(hours.get());
    }
    const Statement minutes = prepare("SELECT minute, data FROM minute ORDER BY number");
    while (!indexById.isEmpty() && next(minutes)) {
        const qint64 time = sqlite3_column_int64(minutes.get(), 0);
        if (time < 0 || time >= hoursEnd * 60) {
            continue;
        }
        forEachChange(
            blobOf(minutes.get(), 1), time,
            [&](quint32 series, const char *, int, const HistoryEntry &entry) {
                const auto found = indexById.constFind(series);
                if (found != indexById.constEnd()) {
                    points[*found].append({time * minute, entry.min, entry.max, entry.last});
                }
            });
    }
    std::for_each(points.begin(), points.end(), sortAndMerge);
    return points;
}
