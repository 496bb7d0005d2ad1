#pragma once

#include <QString>

// The rule for the aliases that the user gives to things.

constexpr int maxAliasLength = 100; // UTF-16 units

// `text` on one line, without control and format characters, cut to maxAliasLength. Empty when
// nothing visible is left: such an alias is to be rejected.
[[nodiscard]] QString cleanAlias(const QString &text);

// A proposal for a thing of that type: the type and five random hexadecimal digits.
[[nodiscard]] QString randomAlias(const QString &type);

// The parts of a short id, to show to the user.
[[nodiscard]] QString typeOfShortId(const QString &sid);
[[nodiscard]] QString serialOfShortId(const QString &sid);
