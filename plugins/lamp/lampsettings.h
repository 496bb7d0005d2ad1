#pragma once

#include <QVariantHash>

// The type's settings, checked: the default replaces a value that is missing, of a wrong type or
// out of range.
struct LampSettings
{
    static constexpr int maxLamps = 10000;

    LampSettings() = default;
    explicit LampSettings(const QVariantHash &values);

    int count = 3;
    int blink = 0; // seconds, 0 for none
    bool startOn = false;
};
