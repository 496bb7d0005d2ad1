#pragma once

#include "settings/keys.h"

class QCommandLineParser;

// The colour theme. It is settled once, at start-up, for the life of the process. Interface
// thread.

// Adds the theme's own option to the command line.
void addThemeOptions(QCommandLineParser &parser);

// Decides on the theme and applies the dark one. The option of `parser` (may be null) wins over
// the stored choice under `key` (may be null), which wins over the system's; light leaves the
// platform's own style and palette. Always true. Needs the application object.
bool settleTheme(const QCommandLineParser *parser, const Key<bool> *key);

// Whether the dark theme is in force; before settleTheme(), whether the system asks for it.
bool isDarkTheme();
