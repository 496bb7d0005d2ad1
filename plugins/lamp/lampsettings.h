#pragma once

#include <QVariantHash>

// The type's settings, checked: a value that is missing, of a wrong type or out of range counts
// as its default.
struct LampSettings
{
    static constexpr int mostLamps = 10000;

    LampSettings() = default;
    explicit LampSettings(const QVariantHash &values);

    int count = 3;
    int blink = 0; // seconds, 0 for none
    bool startOn = false;
};
