#include "things/thingstate.h"

#include "things/qabstractthing.h"

ThingState::ThingState(const QAbstractThing *thing, bool withState)
    : alias(thing->alias())
    , shortid(thing->shortid())
    , regid(thing->regid())
{
    if (withState) {
        state = thing->state();
    }
}
