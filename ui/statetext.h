#pragma once

#include <QString>

class QJsonValue;

// A state as one line of text: members in the order of their keys as "key:value" without braces,
// arrays in brackets, numbers with six significant digits. A long one is cut and ends with "…".
QString stateText(const QJsonValue &state);
