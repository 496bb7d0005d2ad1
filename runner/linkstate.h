#pragma once

#include "cloud/connectionfailure.h"
#include "outbox/outboxledger.h"

#include <QMetaType>
#include <QString>

// The link to the cloud at one moment: a value for the interface. Dates are milliseconds since
// 1970, 0 when there is none; counts are messages.
struct LinkState
{
    enum Kind {
        NotRegistered,
        Unusable,   // key and certificate cannot be used; `failure` tells why
        Connecting, // an attempt is under way
        Waiting,    // until `nextAttempt`, or for a new start when that is 0
        Connected   // since `since`
    };

    Kind kind = NotRegistered;
    ConnectionFailure failure; // of the last attempt
    qint64 since = 0;
    qint64 nextAttempt = 0;

    OutboxLedger ledger;  // since the beginning
    OutboxLedger thisRun; // of the program
    qint64 waitingSince = 0;
    QString outboxFault; // why messages wait in memory only; empty when they do not

    qint64 certificateFrom = 0;
    qint64 certificateUntil = 0;
};

Q_DECLARE_METATYPE(LinkState)
