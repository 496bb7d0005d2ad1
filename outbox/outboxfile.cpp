#include "outbox/outboxfile.h"

#include "outbox/log.h"

#include <sqlite3.h>

#include <iterator>
#include <limits>

namespace {

constexpr int applicationId = 0x4b564f42;      // marks the file as an outbox
constexpr int maxBlockSize = 64 * 1024 * 1024; // bytes; no outbox writes a larger one
constexpr qint64 maxNumber = 1LL << 52;        // of those in a sound file; sums do not overflow
constexpr qint64 minUnusedPages = 256;         // that are worth giving back

// The columns of State in the order of its members.
constexpr char columns[] = "waiting, bytes, goneBytes, goneCount, clock, date, since, delivered, "
                           "droppedFull, droppedOld, droppedVoid, droppedLost";

// Blocks are found by numbers above that of the last one that has gone, 0 at first.
constexpr char blocksOutOfRange[] =
    "SELECT EXISTS(SELECT 1 FROM block WHERE number < 1 OR number > 1 << 52)";

constexpr qint64 OutboxFile::State::*members[] = {
    &OutboxFile::State::waiting,     &OutboxFile::State::bytes,
    &OutboxFile::State::goneBytes,   &OutboxFile::State::goneCount,
    &OutboxFile::State::clock,       &OutboxFile::State::date,
    &OutboxFile::State::since,       &OutboxFile::State::delivered,
    &OutboxFile::State::droppedFull, &OutboxFile::State::droppedOld,
    &OutboxFile::State::droppedVoid, &OutboxFile::State::droppedLost,
};

} // namespace

OutboxFile::OutboxFile(const QString &path)
    : DatabaseFile(path, lcOutbox)
{
}

bool OutboxFile::open()
{
    const QByteArray schema = QByteArray("CREATE TABLE block(number INTEGER PRIMARY KEY, "
                                         "age INTEGER NOT NULL, count INTEGER NOT NULL, "
                                         "data BLOB NOT NULL); CREATE TABLE state(")
                                  .append(columns)
                                  .append("); INSERT INTO state DEFAULT VALUES;");
    // A file that cannot be written must not be sent from: everything would go out at each start.
    const bool good = DatabaseFile::open(applicationId, schema,
                                         [this] {
                                             return prepare("SELECT number, age, count, data "
                                                            "FROM block") &&
                                                    number(blocksOutOfRange) == 0 &&
                                                    state().has_value();
                                         }) &&
                      run("BEGIN IMMEDIATE; UPDATE state SET clock = clock; COMMIT;");
    if (good) {
        noteWritten();
    } else {
        m_db.reset();
    }
    return good;
}

bool OutboxFile::begin(bool durable)
{
    return run(durable ? "PRAGMA synchronous = FULL; BEGIN IMMEDIATE"
                       : "PRAGMA synchronous = NORMAL; BEGIN IMMEDIATE");
}

bool OutboxFile::commit(const State &state)
{
    static const QByteArray sql = [] {
        QByteArray set = "UPDATE state SET (";
        set.append(columns).append(") = (?");
        for (std::size_t i = 1; i < std::size(members); ++i) {
            set.append(", ?");
        }
        return set.append(')');
    }();
    const Statement update = prepare(sql.constData());
    int index = 0;
    for (const auto member : members) {
        sqlite3_bind_int64(update.get(), ++index, state.*member);
    }
    const bool good = check(sqlite3_step(update.get()), "write") && run("COMMIT");
    if (good) {
        noteWritten();
    }
    return good;
}

bool OutboxFile::insert(const Block &block)
{
    const Statement insert = prepare("INSERT INTO block VALUES(?, ?, ?, ?)");
    sqlite3_bind_int64(insert.get(), 1, block.number);
    sqlite3_bind_int64(insert.get(), 2, block.age);
    sqlite3_bind_int(insert.get(), 3, block.count);
    sqlite3_bind_blob(insert.get(), 4, block.data.constData(), block.data.size(), SQLITE_STATIC);
    return check(sqlite3_step(insert.get()), "write");
}

bool OutboxFile::update(const Block &block)
{
    const Statement update = prepare("UPDATE block SET count = ?, data = ? WHERE number = ?");
    sqlite3_bind_int(update.get(), 1, block.count);
    sqlite3_bind_blob(update.get(), 2, block.data.constData(), block.data.size(), SQLITE_STATIC);
    sqlite3_bind_int64(update.get(), 3, block.number);
    return check(sqlite3_step(update.get()), "write");
}

bool OutboxFile::remove(qint64 number)
{
    const Statement remove = prepare("DELETE FROM block WHERE number = ?");
    sqlite3_bind_int64(remove.get(), 1, number);
    return check(sqlite3_step(remove.get()), "write");
}

bool OutboxFile::removeUpTo(qint64 number)
{
    const Statement remove = prepare("DELETE FROM block WHERE number <= ?");
    sqlite3_bind_int64(remove.get(), 1, number);
    return check(sqlite3_step(remove.get()), "write");
}

std::optional<OutboxFile::Block> OutboxFile::blockAfter(qint64 number)
{
    const Statement select = prepare(
        "SELECT number, age, count, data FROM block WHERE number > ? ORDER BY number LIMIT 1");
    sqlite3_bind_int64(select.get(), 1, number);
    const int result = sqlite3_step(select.get());
    if (!check(result, "read") || result != SQLITE_ROW) {
        return std::nullopt;
    }
    const int size = sqlite3_column_bytes(select.get(), 3);
    const qint64 count = sqlite3_column_int64(select.get(), 2);
    if (size > maxBlockSize || count < 1 || count > size) {
        m_damaged = true;
        return std::nullopt;
    }
    return Block{sqlite3_column_int64(select.get(), 0),
                 qBound<qint64>(0, sqlite3_column_int64(select.get(), 1), maxNumber), int(count),
                 QByteArray(static_cast<const char *>(sqlite3_column_blob(select.get(), 3)), size)};
}

qint64 OutboxFile::firstNumber()
{
    return number("SELECT min(number) FROM block");
}

qint64 OutboxFile::lastNumber()
{
    return number("SELECT max(number) FROM block");
}

std::optional<OutboxFile::State> OutboxFile::state()
{
    const Statement select =
        prepare(QByteArray("SELECT ").append(columns).append(" FROM state").constData());
    if (!select || sqlite3_step(select.get()) != SQLITE_ROW) {
        return std::nullopt;
    }
    State state;
    int index = 0;
    for (const auto member : members) {
        state.*member = qBound<qint64>(0, sqlite3_column_int64(select.get(), index++), maxNumber);
    }
    // What the blocks hold counts: more than is told here would not be sent or be counted below
    // zero, and what has gone of blocks that there are not would be missing in new ones. Each count
    // as blockAfter() reads it.
    constexpr qint64 maxInt = std::numeric_limits<int>::max();
    const qint64 count =
        qMin(maxInt, number("SELECT total(max(CAST(count AS INTEGER), 0)) FROM block"));
    state.bytes = qBound<qint64>(0, number("SELECT total(length(data)) FROM block"), maxNumber);
    state.goneCount = qMin(state.goneCount, count);
    state.goneBytes = qMin(state.goneBytes, qMin(state.bytes, maxInt));
    state.waiting = qMax(state.waiting, count - state.goneCount); // more: those are lost
    return state;
}

bool OutboxFile::shrink()
{
    return number("PRAGMA freelist_count") > minUnusedPages &&
           run("PRAGMA incremental_vacuum(1024)"); // 4 MiB, some milliseconds
}
