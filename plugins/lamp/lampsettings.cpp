#include "plugins/lamp/lampsettings.h"

#include <QString>

#include <cmath>

namespace {

constexpr int maxBlinkSeconds = 24 * 60 * 60;

// `value` is a whole number within the limits, as a number or as text; otherwise `fallback`.
int number(const QVariant &value, int min, int max, int fallback)
{
    bool isNumber = false;
    const double number = value.toDouble(&isNumber);
    const bool isValid = isNumber && number >= min && number <= max && number == std::floor(number);
    return isValid ? static_cast<int>(number) : fallback;
}

} // namespace

LampSettings::LampSettings(const QVariantHash &values)
{
    count = number(values["count"], 0, maxLamps, count);
    blink = number(values["blink"], 0, maxBlinkSeconds, blink);
    // QVariant::toBool() reads most texts as true.
    const QString on = values["start_on"].toString().toLower();
    startOn = on == QLatin1String("true") || on == QLatin1String("1");
}
