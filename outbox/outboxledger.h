#pragma once

#include <QtGlobal>

// Counts of messages.
struct OutboxLedger
{
    qint64 since = 0; // date, in milliseconds since 1970
    qint64 delivered = 0;
    qint64 waiting = 0;
    qint64 droppedFull = 0; // the queue was too large
    qint64 droppedOld = 0;
    qint64 droppedVoid = 0; // their identity is void
    qint64 droppedLost = 0; // the file was damaged

    qint64 dropped() const { return droppedFull + droppedOld + droppedVoid + droppedLost; }
};
