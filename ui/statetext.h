#pragma once

#include <QString>

class QJsonValue;

// A state as one line of text: members in the order of their keys as "key:value" without braces,
// arrays in brackets, numbers with six significant digits. Ends with "…" where it is longer than
// any screen shows.
QString stateText(const QJsonValue &state);
