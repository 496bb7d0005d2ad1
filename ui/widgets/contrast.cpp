#include "ui/widgets/contrast.h"

#include <QPainter>
#include <QPalette>

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

constexpr double minContrast = 4.5;
constexpr double minMarkContrast = 3;

} // namespace

double contrastRatio(const QColor &foreground, const QColor &background)
{
    const double a = luminance(foreground) + 0.05;
    const double b = luminance(background) + 0.05;
    return std::max(a, b) / std::min(a, b);
}

QColor legibleForeground(const QColor &foreground, const QColor &background)
{
    const bool lighter =
        contrastRatio(Qt::white, background) > contrastRatio(Qt::black, background);
    QColor tone = foreground;
    for (int step = 0; step < 20 && contrastRatio(tone, background) < minContrast; ++step) {
        tone = lighter ? tone.lighter(115) : tone.darker(115);
    }
    return tone;
}

QColor legibleBackground(const QColor &foreground, const QColor &usual)
{
    return contrastRatio(foreground, usual) >= minContrast ? usual : QColor(statusGround);
}

void paintStatusGround(QPainter &painter, const QRectF &rect, const QColor &color,
                       const QPalette &palette)
{
    const double contrast = std::min(contrastRatio(color, palette.color(QPalette::Window)),
                                     contrastRatio(color, palette.color(QPalette::Base)));
    if (contrast < minMarkContrast) {
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(statusGround));
        painter.drawEllipse(rect);
    }
}

QPixmap statusDot(const QColor &color, int side, qreal ratio, const QPalette &palette)
{
    QPixmap dot(QSize(1, 1) * qRound(side * ratio));
    dot.setDevicePixelRatio(ratio);
    dot.fill(Qt::transparent);
    const QRectF square(0, 0, dot.width() / ratio, dot.height() / ratio);
    QPainter painter(&dot);
    paintStatusGround(painter, square, color, palette);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    const qreal rim = square.width() / 5; // wide enough to be seen
    painter.drawEllipse(square.adjusted(rim, rim, -rim, -rim));
    return dot;
}
