#include "database/databasefile.h"

#include "settings/privatefile.h"
#include "settings/storagefaults.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>

#include <sqlite3.h>

#include <algorithm>
#include <array>

namespace {

constexpr int schemaVersion = 1;
constexpr int maxBusyTime = 200; // milliseconds; a virus scanner may look at the file

} // namespace

void DatabaseFile::Closer::operator()(sqlite3 *db) const
{
    sqlite3_close_v2(db); // after the last statement
}

void DatabaseFile::Closer::operator()(sqlite3_stmt *statement) const
{
    sqlite3_finalize(statement);
}

DatabaseFile::DatabaseFile(const QString &path, Log log)
    : m_path(path)
    , m_log(log)
{
}

DatabaseFile::~DatabaseFile() = default;

bool DatabaseFile::exists() const
{
    return QFileInfo::exists(m_path);
}

bool DatabaseFile::open(int applicationId, const QByteArray &schema,
                        const std::function<bool()> &isOurs)
{
    const bool isNew = !exists() || QFileInfo(m_path).size() == 0;
    m_damaged = !isNew && !isRegularFile(m_path);
    QString error = QStringLiteral("not a regular file");
    QDir().mkpath(QFileInfo(m_path).path());
    if (m_damaged || (isNew && !replacePrivateFile(m_path, QByteArray(), error))) {
        logFailure("open", error);
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
    // SQLite would write the first of these again: no file could be read on a full disk.
    good = good && (number("PRAGMA page_count") > 0 || run("PRAGMA auto_vacuum = INCREMENTAL")) &&
           run("PRAGMA journal_mode = WAL");
    // A file without tables is new: a process that creates one may be killed.
    if (good && number("PRAGMA application_id") == 0 &&
        number("SELECT count(*) FROM sqlite_master") == 0) {
        const QByteArray marks = "PRAGMA application_id = " + QByteArray::number(applicationId) +
                                 "; PRAGMA user_version = " + QByteArray::number(schemaVersion);
        good = run(("BEGIN;" + schema + marks + "; COMMIT;").constData());
    } else if (good && (number("PRAGMA application_id") != applicationId ||
                        number("PRAGMA user_version") != schemaVersion || !isOurs())) {
        m_damaged = true;
        logFailure("use", QStringLiteral("it is of another kind or version"));
        good = false;
    }
    if (!good) {
        // An unknown format, say. Later, a COMMIT that SQLite has rolled back fails so, too.
        m_damaged = m_damaged || sqlite3_errcode(m_db.get()) == SQLITE_ERROR;
        m_db.reset();
    }
    return good;
}

bool DatabaseFile::check(int result, const char *what)
{
    if (result == SQLITE_OK || result == SQLITE_DONE || result == SQLITE_ROW) {
        return true;
    }
    // Contradictions are damage too, and so is a mark that a writable file must not be written.
    constexpr std::array damages = {SQLITE_CORRUPT, SQLITE_NOTADB, SQLITE_TOOBIG, SQLITE_MISMATCH,
                                    SQLITE_CONSTRAINT};
    const int code = result & 0xff; // without SQLite's extension
    m_damaged = m_damaged || std::find(damages.begin(), damages.end(), code) != damages.end() ||
                (m_db && sqlite3_extended_errcode(m_db.get()) == SQLITE_READONLY &&
                 QFileInfo(m_path).isWritable());
    QString reason = m_db ? sqlite3_errmsg(m_db.get()) : sqlite3_errstr(result);
    if (!QFileInfo(m_path).isWritable()) {
        reason += QStringLiteral("; the file may not be written"); // SQLite tells of an I/O error
    }
    logFailure(what, reason);
    return false;
}

void DatabaseFile::logFailure(const char *what, const QString &reason)
{
    const QString failure = QStringLiteral("Cannot %1 %2 - %3").arg(what, m_path, reason);
    if (failure != m_failure) {
        m_failure = failure;
        qCWarning(m_log).noquote() << failure;
    }
    if (!m_damaged) { // else a new one takes its place
        StorageFaults::instance().note(m_path, false);
    }
}

void DatabaseFile::noteWritten()
{
    if (!m_failure.isEmpty()) {
        m_failure.clear();
        qCInfo(m_log).noquote() << m_path << "is written again";
    }
    StorageFaults::instance().note(m_path, true);
}

bool DatabaseFile::run(const char *sql)
{
    return check(sqlite3_exec(m_db.get(), sql, nullptr, nullptr, nullptr), "use");
}

DatabaseFile::Statement DatabaseFile::prepare(const char *sql)
{
    sqlite3_stmt *statement = nullptr;
    check(sqlite3_prepare_v2(m_db.get(), sql, -1, &statement, nullptr), "read");
    return Statement(statement);
}

qint64 DatabaseFile::number(const char *sql)
{
    const Statement select = prepare(sql);
    const int result = sqlite3_step(select.get());
    return check(result, "read") && result == SQLITE_ROW ? sqlite3_column_int64(select.get(), 0)
                                                         : 0;
}

void DatabaseFile::rollback()
{
    if (m_db && sqlite3_get_autocommit(m_db.get()) == 0) {
        run("ROLLBACK");
    }
}

void DatabaseFile::setAside()
{
    m_db.reset();
    const QString aside = m_path + QLatin1String(".damaged");
    QFile::remove(aside);
    for (const char *const suffix : {"-wal", "-shm", "-journal"}) {
        QFile::remove(m_path + QLatin1String(suffix));
    }
    if (QFile::rename(m_path, aside)) {
        qCWarning(m_log).noquote() << "Set aside the damaged" << m_path << "as" << aside;
        m_damaged = false;
    }
}
