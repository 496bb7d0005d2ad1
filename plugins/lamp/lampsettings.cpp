#include "plugins/lamp/lampsettings.h"

#include <QString>

namespace {

constexpr int longestBlink = 24 * 60 * 60;

// Stored values come as text from some formats, so a number may be one in text.
int number(const QVariant &value, int lowest, int highest, int fallback)
{
    bool isNumber = false;
    const double number = value.toDouble(&isNumber);
    if (!isNumber || !(number >= lowest && number <= highest)) {
        return fallback;
    }
    const int whole = static_cast<int>(number);
    return whole == number ? whole : fallback;
}

} // namespace

LampSettings::LampSettings(const QVariantHash &values)
{
    count = number(values["count"], 0, mostLamps, count);
    blink = number(values["blink"], 0, longestBlink, blink);
    // toBool() would take any text for true.
    const QString on = values["start_on"].toString().toLower();
    startOn = on == QLatin1String("true") || on == QLatin1String("1");
}
