#pragma once

#include <QColor>

// How well `ink` can be read on `ground`: the ratio of WCAG 2.1, section 1.4.3, from 1 to 21.
// Text wants 4.5.
double contrastRatio(const QColor &ink, const QColor &ground);

// `ink`, or where it could not be read on `ground` a paler or darker tone of it that can.
QColor legibleInk(const QColor &ink, const QColor &ground);

// The ground for text in one of the theme's status colours: `usual`, or where that would leave
// it illegible one that is dark enough for all of them. The colours are fixed.
QColor legibleGround(const QColor &ink, const QColor &usual);
