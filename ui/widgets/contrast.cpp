#include "ui/widgets/contrast.h"

#include <algorithm>
#include <cmath>

namespace {

// Relative luminance, as WCAG defines it.
double luminance(const QColor &color)
{
    const auto linear = [](double part) {
        return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) +
           0.0722 * linear(color.blueF());
}

constexpr double enough = 4.5;

} // namespace

double contrastRatio(const QColor &ink, const QColor &ground)
{
    const double a = luminance(ink) + 0.05;
    const double b = luminance(ground) + 0.05;
    return std::max(a, b) / std::min(a, b);
}

QColor legibleInk(const QColor &ink, const QColor &ground)
{
    const bool paler = contrastRatio(Qt::white, ground) > contrastRatio(Qt::black, ground);
    QColor tone = ink;
    for (int step = 0; step < 20 && contrastRatio(tone, ground) < enough; ++step) {
        tone = paler ? tone.lighter(115) : tone.darker(115);
    }
    return tone;
}

QColor legibleGround(const QColor &ink, const QColor &usual)
{
    return contrastRatio(ink, usual) >= enough ? usual : QColor(0x10, 0x10, 0x10);
}
