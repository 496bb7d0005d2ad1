#pragma once

class QCommandLineParser;

// Adds the theme's own option to the command line.
void addThemeOptions(QCommandLineParser &parser);
