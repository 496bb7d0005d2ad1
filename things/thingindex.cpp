#include "things/thingindex.h"

#include <algorithm>
#include <functional>

namespace {

// A thing may own ids by a rule of its own, which only a walk over all things finds. Ids come
// from the network by the hundred thousand, so the questions are rationed.
constexpr qint64 mostQuestions = 1000000;

} // namespace

ThingIndex::ThingIndex(const QList<QAbstractThing *> &things)
    : m_questionsLeft(mostQuestions)
{
    m_things.reserve(things.size());
    m_byShortid.reserve(things.size());
    for (QAbstractThing *const thing : things) {
        m_things.append(thing);
        const QString shortid = thing->shortid();
        if (!m_byShortid.contains(shortid)) {
            m_byShortid.insert(shortid, thing);
            m_lengths.append(shortid.size());
        }
    }
    std::sort(m_lengths.begin(), m_lengths.end(), std::greater<>());
    m_lengths.erase(std::unique(m_lengths.begin(), m_lengths.end()), m_lengths.end());
}

QAbstractThing *ThingIndex::ofShortid(const QString &shortid, const QString &id) const
{
    QAbstractThing *const thing = m_byShortid.value(shortid);
    return thing != nullptr && thing->ownsCloudid(id) ? thing : nullptr;
}

// Of the things whose short id the id begins with, the one with the longest; `separated`: whether
// "_" follows it.
QAbstractThing *ThingIndex::longestPrefix(const QString &id, bool separated) const
{
    for (const int length : m_lengths) {
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
    if (QAbstractThing *const bare = longestPrefix(id, false)) {
        return bare;
    }
    return findWhere([&id](const QAbstractThing *thing) { return thing->ownsCloudid(id); });
}

QAbstractThing *
ThingIndex::findWhere(const std::function<bool(const QAbstractThing *)> &accepts) const
{
    if (m_questionsLeft < m_things.size()) {
        return nullptr;
    }
    m_questionsLeft -= m_things.size();
    for (const QPointer<QAbstractThing> &thing : m_things) {
        if (thing && accepts(thing)) {
            return thing;
        }
    }
    return nullptr;
}
