#pragma once

#include "history/historyentry.h"
#include "history/historysource.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

struct sqlite3;
struct sqlite3_stmt;

// The file of the history: an SQLite database for the user alone, opened by this process only, and
// not before there is something to write or to read. One thread at a time.
//
// Each minute adds one row with the changes of all members. fold() distributes them to rows that
// hold an hour of one member each.
//
// Functions that return bool are false, with a line in the log, when that failed. A damaged file is
// set aside, and a new one begun.
class HistoryFile
{
public:
    struct Limits
    {
        qint64 size = 100000000; // bytes
        int days = 30;
    };
    // Of a member in a minute.
    struct Change
    {
        QString device;
        QString member;
        HistoryEntry entry;
    };

    explicit HistoryFile(const QString &path);
    ~HistoryFile();
    Q_DISABLE_COPY(HistoryFile)

    // Minutes and hours count since 1970.

    // At the start: ends the series that a killed process left open after the last minute that it
    // wrote.
    bool endOpenSeries(qint64 minute);
    [[nodiscard]] bool write(qint64 minute, const QVector<Change> &changes);
    // All series have been ended: a kill can leave none open.
    bool setEnded();
    bool fold();
    // Folds, and drops what is older than the limit or more than it, oldest first; of what is too
    // old at most six hours each time: a clock may be years ahead until it is corrected.
    bool prune(qint64 hour, const Limits &limits);
    // Neither the file nor a damaged one that was set aside holds the devices' names afterwards.
    bool forget(const QStringList &devices);

    // Of the device, or of all if it is null; in the order of device and member.
    QVector<HistoryMember> members(const QString &device = QString());
    // The points of each member, by the minute, in the order of time: from the last one before
    // `from` to `to`.
    QVector<HistoryPoints> points(const QVector<HistoryMember> &members, qint64 from, qint64 to);

private:
    struct Closer
    {
        void operator()(sqlite3 *db) const;
        void operator()(sqlite3_stmt *statement) const;
    };
    using Statement = std::unique_ptr<sqlite3_stmt, Closer>;

    bool check(int result, const char *what);
    void logFailure(const char *what, const QString &reason);
    bool run(const char *sql);
    Statement prepare(const char *sql);
    bool step(const Statement &statement);
    bool next(const Statement &statement);
    qint64 number(const char *sql);
    bool transact(const std::function<bool()> &change);
    bool open();
    bool openExisting();
    void setAside();
    quint32 seriesId(const Statement &select, const QString &device, const QString &member);
    bool dropBefore(qint64 hour);
    qint64 usedBytes();

    const QString m_path;
    std::unique_ptr<sqlite3, Closer> m_db;
    bool m_damaged = false;
    qint64 m_unfolded = 0; // bytes in the rows of minutes, about
    QString m_failure;     // the last in the log: each is logged once
};
