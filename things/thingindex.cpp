#include "things/thingindex.h"

#include <algorithm>
#include <functional>

namespace {

// Plugins may override ownsCloudid(): only a linear scan finds those things. The network may send
// hundreds of thousands of ids, so all scans of an index together are limited.
constexpr qint64 maxLinearChecks = 1000000;

} // namespace

ThingIndex::ThingIndex(const QList<QAbstractThing *> &things)
    : m_linearChecksLeft(maxLinearChecks)
{
    m_things.reserve(things.size());
    m_byShortid.reserve(things.size());
    for (QAbstractThing *const thing : things) {
        m_things.append(thing);
        const QString shortid = thing->shortid();
        if (!m_byShortid.contains(shortid)) {
            m_byShortid.insert(shortid, thing);
            m_shortidLengths.append(shortid.size());
        }
    }
    std::sort(m_shortidLengths.begin(), m_shortidLengths.end(), std::greater<>());
    m_shortidLengths.erase(std::unique(m_shortidLengths.begin(), m_shortidLengths.end()),
                           m_shortidLengths.end());
}

QAbstractThing *ThingIndex::ofShortid(const QString &shortid, const QString &id) const
{
    QAbstractThing *const thing = m_byShortid.value(shortid);
    return thing != nullptr && thing->ownsCloudid(id) ? thing : nullptr;
}

// The thing with the longest short id that `id` begins with; with `separated`, only those that "_"
// follows in `id`, otherwise only the others.
QAbstractThing *ThingIndex::longestPrefix(const QString &id, bool separated) const
{
    for (const int length : m_shortidLengths) {
        if (length >= id.size() || separated != (id.at(length) == QLatin1Char('_'))) {
            continue;
        }
        if (QAbstractThing *const longest = ofShortid(id.left(length), id)) {
            return longest;
        }
    }
    return nullptr;
}

QAbstractThing *ThingIndex::findExact(const QString &id) const
{
    QAbstractThing *const equal = ofShortid(id, id);
    return equal != nullptr ? equal : longestPrefix(id, true);
}

QAbstractThing *ThingIndex::find(const QString &id) const
{
    if (QAbstractThing *const exact = findExact(id)) {
        return exact;
    }
    if (QAbstractThing *const prefix = longestPrefix(id, false)) {
        return prefix;
    }
    return findWhere([&id](const QAbstractThing *thing) { return thing->ownsCloudid(id); });
}

QAbstractThing *
ThingIndex::findWhere(const std::function<bool(const QAbstractThing *)> &accepts) const
{
    if (m_linearChecksLeft < m_things.size()) {
        return nullptr;
    }
    m_linearChecksLeft -= m_things.size();
    for (const QPointer<QAbstractThing> &thing : m_things) {
        if (thing && accepts(thing)) {
            return thing;
        }
    }
    return nullptr;
}
