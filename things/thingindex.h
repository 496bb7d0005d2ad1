#pragma once

#include "things/qabstractthing.h"

#include <QHash>
#include <QList>
#include <QPointer>
#include <QString>
#include <QVector>

#include <functional>

// Finds the thing of an id. One id may be a prefix of another (serial "ABC" also owns the ids of
// serial "ABCD"), so the best match counts: an equal short id, then the longest short id that "_"
// follows in the id, then the longest other prefix, then the first thing that owns the id.
//
// For short use: it does not notice changes of ids. Things may be deleted meanwhile.
class ThingIndex
{
public:
    explicit ThingIndex(const QList<QAbstractThing *> &things);
    // The first two of these matches only; else null.
    QAbstractThing *findExact(const QString &id) const;
    // Null if no thing owns the id.
    QAbstractThing *find(const QString &id) const;
    // The first accepted thing, by a linear scan; null once the limit of all scans is reached.
    QAbstractThing *findWhere(const std::function<bool(const QAbstractThing *)> &accepts) const;

private:
    QAbstractThing *ofShortid(const QString &shortid, const QString &id) const;
    QAbstractThing *longestPrefix(const QString &id, bool separated) const;

    QVector<QPointer<QAbstractThing>> m_things;
    QHash<QString, QPointer<QAbstractThing>> m_byShortid; // the first of each
    QVector<int> m_shortidLengths;                        // longest first
    mutable qint64 m_linearChecksLeft;
};
