#pragma once

#include <QColor>

// The contrast ratio of WCAG 2.1, section 1.4.3, from 1 to 21; text needs 4.5.
double contrastRatio(const QColor &foreground, const QColor &background);

// `foreground`, or a lighter or darker tone of it that is legible on `background`.
QColor legibleForeground(const QColor &foreground, const QColor &background);

// The background for text in one of the theme's status colours, which are fixed: `usual`, or one
// that is dark enough for all of them where the text would be illegible.
QColor legibleBackground(const QColor &foreground, const QColor &usual);
