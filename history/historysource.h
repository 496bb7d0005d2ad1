#pragma once

#include <QString>
#include <QVector>

#include <functional>

class QObject;

// What a member was at a moment, or over a stretch of time that begins there. It holds until the
// next point. Booleans are 0 and 1.
struct HistoryPoint
{
    qint64 time; // milliseconds since 1970
    double min;
    double max;
    // NaN: at the end of the stretch nothing is known; where nothing was known before either, min
    // and max are NaN, too.
    double last;
};
using HistoryPoints = QVector<HistoryPoint>;

// A member of a device's state. A member within an object is named "outer.inner".
struct HistoryMember
{
    QString device; // short id
    QString member;

    bool operator==(const HistoryMember &other) const
    {
        return device == other.device && member == other.member;
    }
};

// What can be asked of the history: an interface, so that the library of plots needs no code of
// the program. Interface thread. Answers come later, in the order of the requests, unless `context`
// has been deleted by then.
class HistorySource
{
public:
    virtual ~HistorySource() = default;

    // The members of a device that have a history, in the order of their names.
    virtual void members(const QString &device, QObject *context,
                         const std::function<void(const QVector<QString> &)> &ready) = 0;

    // The points of each member from `from` to `to` (milliseconds since 1970), at most `maxPoints`
    // of each (0: all): several are merged into one with their extremes. The first is a value that
    // held at `from` already; the last one, where a value is known to the end, stands at the end of
    // the range or now.
    virtual void fetch(const QVector<HistoryMember> &members, qint64 from, qint64 to, int maxPoints,
                       QObject *context,
                       const std::function<void(const QVector<HistoryPoints> &)> &ready) = 0;

    // Writes a CSV file: a header, then a line for each point with the local time in ISO 8601 with
    // its offset, device, member, minimum, maximum and last value. No members: everything there is.
    // `done` gets the user's sentence, empty on success.
    virtual void exportCsv(const QString &file, const QVector<HistoryMember> &members, qint64 from,
                           qint64 to, QObject *context,
                           const std::function<void(const QString &)> &done) = 0;
};
