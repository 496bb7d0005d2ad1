#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <memory>

class QLoggingCategory;
struct sqlite3;
struct sqlite3_stmt;

// What the program's databases share: an SQLite file for the user alone, opened by this process
// only, that is set aside when it is damaged. One thread at a time.
//
// Functions that return bool are false, with a line in the log, when that failed.
class DatabaseFile
{
public:
    bool isOpen() const { return m_db != nullptr; }
    bool exists() const;
    // Whether the file is to be set aside.
    bool isDamaged() const { return m_damaged; }
    // Closes the file and renames it, in place of an older one that was set aside.
    void setAside();

protected:
    struct Closer
    {
        void operator()(sqlite3 *db) const;
        void operator()(sqlite3_stmt *statement) const;
    };
    using Statement = std::unique_ptr<sqlite3_stmt, Closer>;
    using Log = const QLoggingCategory &(*)();

    DatabaseFile(const QString &path, Log log);
    ~DatabaseFile();
    Q_DISABLE_COPY(DatabaseFile)

    // Opens the file, or creates it with the tables of `schema`. `applicationId` marks it as one of
    // its kind; a file of another kind, or one that is not `isOurs`, is damaged.
    [[nodiscard]] bool open(int applicationId, const QByteArray &schema,
                            const std::function<bool()> &isOurs);
    bool check(int result, const char *what);
    bool run(const char *sql);
    // Null on a failure.
    Statement prepare(const char *sql);
    // 0 on a failure.
    qint64 number(const char *sql);
    void rollback();
    // Call it after each success, for log and StorageFaults.
    void noteWritten();

    const QString m_path;
    std::unique_ptr<sqlite3, Closer> m_db;
    bool m_damaged = false;

private:
    void logFailure(const char *what, const QString &reason);

    const Log m_log;
    QString m_failure; // the last in the log: each is logged once
};
