#pragma once

#include "things/qabstractthing.h"

#include <QHash>
#include <QList>
#include <QPointer>
#include <QString>
#include <QVector>

#include <functional>

// Finds the thing that an identifier means. Identifiers are prefixes of each other (serial "ABC"
// owns the ids of serial "ABCD" too), so the best match counts: an equal short id, then a short
// id followed by "_", then the longest short id that the identifier begins with, then the first
// thing that owns it.
//
// A view for one use. It does not notice changes of ids; things may be deleted meanwhile.
class ThingIndex
{
public:
    explicit ThingIndex(const QList<QAbstractThing *> &things);
    // The thing of which the id is the short id, or the short id followed by "_"; else null.
    QAbstractThing *findExact(const QString &id) const;
    // Null when no thing owns the id. Does not walk over the things, unless some might own ids by
    // a rule of their own; such walks end when a million questions were asked.
    QAbstractThing *find(const QString &id) const;
    // The first thing that is accepted, by such a walk.
    QAbstractThing *findWhere(const std::function<bool(const QAbstractThing *)> &accepts) const;

private:
    QAbstractThing *ofShortid(const QString &shortid, const QString &id) const;
    QAbstractThing *longestPrefix(const QString &id, bool separated) const;

    QVector<QPointer<QAbstractThing>> m_things;
    QHash<QString, QPointer<QAbstractThing>> m_byShortid; // the first of each
    QVector<int> m_lengths;                               // of the short ids, longest first
    mutable qint64 m_questionsLeft;
};
