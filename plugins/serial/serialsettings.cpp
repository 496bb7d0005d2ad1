#include "plugins/serial/serialsettings.h"

#include "plugins/serial/portinfo.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace {

// Sorted USB ids of the makers of boards, and of the USB converters that most others carry:
// Microchip, STMicroelectronics, Arm (micro:bit), Silicon Labs (CP210x), PJRC (Teensy), Nordic,
// WCH (CH340), SparkFun, Arduino, Adafruit, Seeed, Arduino, Particle, Raspberry Pi, Espressif,
// MicroPython. FTDI is missing on purpose: its converters are in many instruments that should not
// be opened unasked.
constexpr quint16 knownVendors[] = {0x03eb, 0x0483, 0x0d28, 0x10c4, 0x16c0, 0x1915, 0x1a86, 0x1b4f,
                                    0x2341, 0x239a, 0x2886, 0x2a03, 0x2b04, 0x2e8a, 0x303a, 0xf055};

// `value` is a whole number within the limits, as a number or as text; otherwise `fallback`.
int number(const QVariant &value, int min, int max, int fallback)
{
    const double number = value.toDouble();
    const bool isValid = number >= min && number <= max && number == std::floor(number);
    return isValid ? static_cast<int>(number) : fallback;
}

} // namespace

SerialSettings::SerialSettings(const QVariantHash &values)
{
    // As in the description, in the order of Ports.
    const QStringList choices{"Off", "Known boards", "All USB ports", "Listed ports"};
    const int choice = choices.indexOf(values["ports"].toString());
    ports = choice < 0 ? KnownBoards : static_cast<Ports>(choice);
    if (!values.value("enabled", true).toBool()) {
        ports = Off;
    }
    const QStringList names = values["listed"].toString().split(QLatin1Char(','));
    for (const QString &name : names) {
        if (!name.trimmed().isEmpty() && listed.size() < maxListed) {
            listed.append(name.trimmed());
        }
    }
    listed.removeDuplicates();
    speed = number(values["speed"], 300, 4000000, speed);
    wait = std::chrono::seconds(number(values["wait"], minWait, 3600, 10));
}

bool SerialSettings::isChosen(const PortInfo &port) const
{
    switch (ports) {
    case KnownBoards:
        return std::binary_search(std::begin(knownVendors), std::end(knownVendors), port.vendor);
    case AllUsb:
        return port.vendor != 0;
    case Listed:
        return listed.contains(port.name);
    default:
        return false;
    }
}
