#include "runner/metatypes.h"

#include "check/checkstep.h"
#include "cloud/velmorcloudclient.h"
#include "runner/backupsummary.h"
#include "runner/linkstate.h"
#include "things/thingstate.h"

#include <QMetaType>
#include <QVariant>

void registerMetaTypes()
{
    static const bool registered = [] {
        qRegisterMetaType<ThingState>("ThingState");
        // A list of a declared type: this makes it walkable as a sequence as well.
        qRegisterMetaType<ThingStateList>("ThingStateList");
        qRegisterMetaType<LinkState>("LinkState");
        qRegisterMetaType<BackupSummary>("BackupSummary");
        qRegisterMetaType<CheckStep>("CheckStep");
        registerCloudMetaTypes();
        return true;
    }();
    Q_UNUSED(registered)
}
