#pragma once

#include "settings/keys.h"

class QCommandLineParser;

// The colour theme, which is chosen once, at start-up. Interface thread.

// Adds "ignore-dark" to the command line.
void addThemeOptions(QCommandLineParser &parser);

// Chooses the theme by the option in `parser`, else the value stored under `key`, else the system's
// theme, and applies the dark one; light is the platform's own style. `parser` and `key` may be
// null. Always true. Needs the application object.
bool settleTheme(const QCommandLineParser *parser, const Key<bool> *key);

// Whether the program uses the dark theme; before settleTheme(), whether the system does.
bool isDarkTheme();
