#pragma once

#include <QColor>
#include <QPixmap>

class QPainter;
class QPalette;

// The contrast ratio of WCAG 2.1, section 1.4.3, from 1 to 21; text needs 4.5.
double contrastRatio(const QColor &foreground, const QColor &background);

// `foreground`, or a lighter or darker tone of it that is legible on `background`.
QColor legibleForeground(const QColor &foreground, const QColor &background);

// The dark ground on which each of the theme's status colours is legible.
constexpr QRgb statusGround = qRgb(0x10, 0x10, 0x10);

// The background for text in one of the theme's status colours, which are fixed: `usual`, or one
// that is dark enough for all of them where the text would be illegible.
QColor legibleBackground(const QColor &foreground, const QColor &usual);

// Draws a dark disc into `rect` if a mark in this colour would have less than 3 to 1 on the
// palette's window or base, which is what WCAG asks of graphics. Draw the mark upon it.
void paintStatusGround(QPainter &painter, const QRectF &rect, const QColor &color,
                       const QPalette &palette);

// A disc in a status colour, upon that ground where it needs one. `side` is in device-independent
// pixels, `ratio` the screen's pixels for each.
QPixmap statusDot(const QColor &color, int side, qreal ratio, const QPalette &palette);
