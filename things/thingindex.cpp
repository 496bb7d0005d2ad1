#include "things/thingindex.h"

#include "things/qabstractthing.h"

namespace {

// A thing may own ids by a rule of its own, which only a walk over all things finds. Ids come
// from the network by the hundred thousand, so walks are rationed.
constexpr int mostWalks = 1000;

} // namespace

ThingIndex::ThingIndex(const QList<QAbstractThing *> &things)
    : m_things(things)
    , m_walksLeft(mostWalks)
{
    m_byShortid.reserve(things.size());
    for (QAbstractThing *const thing : things) {
        const QString shortid = thing->shortid();
        if (!m_byShortid.contains(shortid)) {
            m_byShortid.insert(shortid, thing);
        }
    }
}

QAbstractThing *ThingIndex::ofShortid(const QString &shortid, const QString &id) const
{
    QAbstractThing *const thing = m_byShortid.value(shortid);
    return thing != nullptr && thing->ownsCloudid(id) ? thing : nullptr;
}

QAbstractThing *ThingIndex::find(const QString &id) const
{
    if (QAbstractThing *const equal = ofShortid(id, id)) {
        return equal;
    }
    for (int end = id.lastIndexOf(QLatin1Char('_')); end > 0;
         end = id.lastIndexOf(QLatin1Char('_'), end - 1)) {
        if (QAbstractThing *const separated = ofShortid(id.left(end), id)) {
            return separated;
        }
    }
    for (int end = id.size() - 1; end > 0; --end) {
        if (QAbstractThing *const longest = ofShortid(id.left(end), id)) {
            return longest;
        }
    }
    if (m_walksLeft > 0) {
        --m_walksLeft;
        for (QAbstractThing *const thing : m_things) {
            if (thing->ownsCloudid(id)) {
                return thing;
            }
        }
    }
    return nullptr;
}
