#pragma once

#include "database/databasefile.h"
#include "history/historyentry.h"
#include "history/historysource.h"

#include <QStringList>

struct HistoryLimits
{
    qint64 memory = 16000000; // bytes; the newest sample of each member is kept beyond it
    qint64 file = 100000000;  // bytes
    int days = 30;            // in the file
};

// The file of the history, opened when there is something to write or to read. One thread at a
// time.
//
// Each minute adds one row with the changes of all members. fold() distributes them to rows that
// hold an hour of one member each.
//
// Functions that return bool are false, with a line in the log, when that failed. A damaged file is
// set aside, and a new one begun.
class HistoryFile : private DatabaseFile
{
public:
    // Of a member in a minute.
    struct Change
    {
        QString device;
        QString member;
        HistoryEntry entry;
    };

    explicit HistoryFile(const QString &path);

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
    bool prune(qint64 hour, const HistoryLimits &limits);
    // Neither the file nor a damaged one that was set aside holds the devices' names afterwards.
    bool forget(const QStringList &devices);

    // Of the device, or of all if it is null; in the order of device and member.
    QVector<HistoryMember> members(const QString &device = QString());
    // The points of each member, by the minute, in the order of time: from the last one before
    // `from` to `to`.
    QVector<HistoryPoints> points(const QVector<HistoryMember> &members, qint64 from, qint64 to);

private:
    bool step(const Statement &statement);
    bool next(const Statement &statement);
    bool transact(const std::function<bool()> &change);
    bool open();
    bool openExisting();
    bool isOurs();
    quint32 seriesId(const Statement &select, const QString &device, const QString &member);
    bool dropBefore(qint64 hour);
    qint64 usedBytes();

    qint64 m_unfolded = 0; // bytes in the rows of minutes, about
};
