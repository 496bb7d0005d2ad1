#include "app/theme.h"

#include <QCommandLineParser>

void addThemeOptions(QCommandLineParser &parser)
{
    parser.addOption({"ignore-dark", "Ignore the system-wide dark theme setting."});
}
