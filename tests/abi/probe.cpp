#include "things/abstractthingtype.h"
#include "things/qabstractthing.h"

namespace {

// The debug information has a class of virtual functions where its table is, and the interfaces
// have one only where a class implements them.
class Probe : public AbstractThingType, public ConfigurableThingType, public KeyedThingType
{
public:
    QHash<QString, QVariant> discover() override { return {}; }
    QAbstractThing *create(const QString & /*key*/, const QVariant & /*descriptor*/,
                           const QVariantHash & /*settings*/, QObject ** /*ui*/) override
    {
        return nullptr;
    }
    bool claims(const QString & /*key*/, const QAbstractThing * /*thing*/) override
    {
        return false;
    }
    void configure(const QVariantHash & /*settings*/) override {}
    QString deviceKey(const QAbstractThing * /*thing*/) const override { return {}; }
};

} // namespace

// Brings them into what the library exports.
Q_DECL_EXPORT bool probe(const AbstractThingType *type, const ConfigurableThingType *configurable,
                         const KeyedThingType *keyed)
{
    const Probe probe;
    return type == &probe || configurable == &probe || keyed == &probe;
}
