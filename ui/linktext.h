#pragma once

#include "runner/linkstate.h"

#include <QString>

// The state of the cloud connection in words for the user. `now`: milliseconds since 1970.
namespace linktext {

// What is the matter, and what the user can do.
QString headline(const LinkState &state, qint64 now);
// The same, and when the next attempt is made.
QString summary(const LinkState &state, qint64 now);
// What waits for the cloud and was delivered; empty before anything was published.
QString ledger(const LinkState &state);
// How long the certificate is valid; empty when there is none.
QString validity(const LinkState &state, qint64 now);
// The certificate expires within thirty days, has expired, or is not valid yet.
bool isValidityWarning(const LinkState &state, qint64 now);

} // namespace linktext
