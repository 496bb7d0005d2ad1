#include "things/abstractthingtype.h"
#include "things/qabstractthing.h"

// The interfaces have no code of their own: this function brings them into the debug information.
Q_DECL_EXPORT bool probe(AbstractThingType *type, ConfigurableThingType *configurable,
                         KeyedThingType *keyed, const QAbstractThing *thing)
{
    configurable->configure({});
    return type->claims(keyed->deviceKey(thing), thing);
}
