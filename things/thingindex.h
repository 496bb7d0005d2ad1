#pragma once

#include <QHash>
#include <QList>
#include <QString>

class QAbstractThing;

// Finds the thing that an identifier means. Identifiers are prefixes of each other (serial "ABC"
// owns the ids of serial "ABCD" too), so the best match counts: an equal short id, then a short
// id followed by "_", then the longest short id that the identifier begins with, then the first
// thing that owns it.
//
// A view for one use: it borrows the things and knows nothing of later changes.
class ThingIndex
{
public:
    explicit ThingIndex(const QList<QAbstractThing *> &things);
    // Null when no thing owns the id. Time goes with the length of the id, not with the number
    // of things.
    QAbstractThing *find(const QString &id) const;

private:
    QAbstractThing *ofShortid(const QString &shortid, const QString &id) const;

    QList<QAbstractThing *> m_things;
    QHash<QString, QAbstractThing *> m_byShortid; // the first of each
    mutable int m_walksLeft;
};
