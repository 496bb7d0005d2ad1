#include "outbox/outboxfile.h"

#include "outbox/log.h"
#include "settings/privatefile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace {

constexpr int applicationId = 0x4b564f42; // marks the file as an outbox
constexpr int schemaVersion = 1;
constexpr int maxBlockSize = 64 * 1024 * 1024; // bytes; no outbox writes a larger one
constexpr qint64 maxNumber = 1LL << 52;        // of those in a sound file; sums do not overflow
constexpr int maxBusyTime = 200;               // milliseconds; a virus scanner may look at the file
constexpr qint64 minUnusedPages = 256;         // that are worth giving back

// The columns of State in the order of its members.
constexpr char columns[] = "waiting, bytes, goneBytes, goneCount, clock, date, since, delivered, "
                           "droppedFull, droppedOld, droppedVoid, droppedLost";

constexpr qint64 OutboxFile::State::*members[] = {
    &OutboxFile::State::waiting,     &OutboxFile::State::bytes,
    &OutboxFile::State::goneBytes,   &OutboxFile::State::goneCount,
    &OutboxFile::State::clock,       &OutboxFile::State::date,
    &OutboxFile::State::since,       &OutboxFile::State::delivered,
    &OutboxFile::State::droppedFull, &OutboxFile::State::droppedOld,
    &OutboxFile::State::droppedVoid, &OutboxFile::State::droppedLost,
};

} // namespace

void OutboxFile::Closer::operator()(sqlite3 *db) const
{
    sqlite3_close(db);
}

void OutboxFile::Closer::operator()(sqlite3_stmt *statement) const
{
    sqlite3_finalize(statement);
}

OutboxFile::OutboxFile(const QString &path)
    : m_path(path)
{
}

OutboxFile::~OutboxFile() = default;

bool OutboxFile::exists() const
{
    return QFileInfo::exists(m_path);
}

bool OutboxFile::check(int result, const char *what)
{
    if (result == SQLITE_OK || result == SQLITE_DONE || result == SQLITE_ROW) {
        return true;
    }
    // Contradictions are damage too, and so is a mark that a writable file must not be written.
    constexpr std::array damages = {SQLITE_CORRUPT, SQLITE_NOTADB, SQLITE_MISMATCH,
                                    SQLITE_CONSTRAINT};
    const int code = result & 0xff; // without SQLite's extension
    m_damaged = m_damaged || std::find(damages.begin(), damages.end(), code) != damages.end() ||
                (m_db && sqlite3_extended_errcode(m_db.get()) == SQLITE_READONLY &&
                 QFileInfo(m_path).isWritable());
    const QString failure =
        QStringLiteral("Cannot %1 %2 - %3")
            .arg(what, m_path, m_db ? sqlite3_errmsg(m_db.get()) : sqlite3_errstr(result));
    if (failure != m_failure) {
        m_failure = failure;
        qCWarning(lcOutbox).noquote() << failure;
    }
    return false;
}

bool OutboxFile::run(const char *sql)
{
    return check(sqlite3_exec(m_db.get(), sql, nullptr, nullptr, nullptr), "use");
}

OutboxFile::Statement OutboxFile::prepare(const char *sql)
{
    sqlite3_stmt *statement = nullptr;
    check(sqlite3_prepare_v2(m_db.get(), sql, -1, &statement, nullptr), "read");
    return Statement(statement);
}

// 0 on a failure.
qint64 OutboxFile::number(const char *sql)
{
    const Statement select = prepare(sql);
    return check(sqlite3_step(select.get()), "read") ? sqlite3_column_int64(select.get(), 0) : 0;
}

// The tables and their columns are there, and the marks are this program's.
bool OutboxFile::isOurs()
{
    return number("PRAGMA application_id") == applicationId &&
           number("PRAGMA user_version") == schemaVersion &&
           prepare("SELECT number, age, count, data FROM block") && state().has_value();
}

bool OutboxFile::open()
{
    const bool isNew = !exists() || QFileInfo(m_path).size() == 0;
    m_damaged = !isNew && !isRegularFile(m_path);
    QString error;
    QDir().mkpath(QFileInfo(m_path).path());
    if (m_damaged || (isNew && !replacePrivateFile(m_path, QByteArray(), error))) {
        qCWarning(lcOutbox).noquote() << "Cannot create" << m_path << "-" << error;
        return false;
    }
    sqlite3 *db = nullptr;
    const int result = sqlite3_open_v2(m_path.toUtf8().constData(), &db,
                                       SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    m_db.reset(db);
    sqlite3_busy_timeout(db, maxBusyTime);
    // Exclusive: no other process may have it, and SQLite needs no shared memory.
    bool good = check(result, "open") &&
                run("PRAGMA locking_mode = EXCLUSIVE; PRAGMA journal_size_limit = 4194304;"
                    "PRAGMA cell_size_check = ON; PRAGMA trusted_schema = OFF;");
    if (good && isNew) {
        good = run("PRAGMA auto_vacuum = INCREMENTAL; PRAGMA journal_mode = WAL; BEGIN;"
                   "CREATE TABLE block(number INTEGER PRIMARY KEY, age INTEGER NOT NULL, "
                   "count INTEGER NOT NULL, data BLOB NOT NULL);") &&
               run(QByteArray("CREATE TABLE state(").append(columns).append(")").constData()) &&
               run("INSERT INTO state DEFAULT VALUES; PRAGMA application_id = 1263947586;"
                   "PRAGMA user_version = 1; COMMIT;");
    } else if (good) {
        good = run("PRAGMA journal_mode = WAL");
        if (good && !isOurs()) {
            qCWarning(lcOutbox).noquote() << m_path << "is no outbox of this version";
            m_damaged = true;
            good = false;
        }
    }
    // A file that cannot be written must not be sent from: everything would go out at each start.
    good = good && run("BEGIN IMMEDIATE; UPDATE state SET clock = clock; COMMIT;");
    if (!good) {
        m_db.reset();
    }
    return good;
}

void OutboxFile::setAside()
{
    m_db.reset();
    const QString aside = m_path + QLatin1String(".damaged");
    QFile::remove(aside);
    for (const char *const suffix : {"-wal", "-shm", "-journal"}) {
        QFile::remove(m_path + QLatin1String(suffix));
    }
    if (QFile::rename(m_path, aside)) {
        qCWarning(lcOutbox).noquote() << "Set aside the damaged" << m_path << "as" << aside;
        m_damaged = false;
    }
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
        m_failure.clear();
    }
    return good;
}

void OutboxFile::rollback()
{
    if (m_db && sqlite3_get_autocommit(m_db.get()) == 0) {
        run("ROLLBACK");
    }
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
    if (size > maxBlockSize) {
        m_damaged = true;
        return std::nullopt;
    }
    return Block{sqlite3_column_int64(select.get(), 0), sqlite3_column_int64(select.get(), 1),
                 sqlite3_column_int(select.get(), 2),
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
    return state;
}

bool OutboxFile::shrink()
{
    return number("PRAGMA freelist_count") > minUnusedPages &&
           run("PRAGMA incremental_vacuum(1024)"); // 4 MiB, some milliseconds
}
