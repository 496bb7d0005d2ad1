#include "app/theme.h"

#include "app/platform/systemtheme.h"
#include "settings/settingsstore.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QPalette>
#include <QStyleFactory>

namespace {

bool darkThemeKnown = false; // the system's theme has been read
bool darkTheme = false;      // the dark palette is in force

void readSystemTheme()
{
    if (!darkThemeKnown) {
        darkTheme = systemThemeIsDark();
        darkThemeKnown = true;
    }
}

void applyDarkTheme()
{
    const QColor windowGrey(53, 53, 53);
    const QColor midGrey(128, 128, 128);
    const QColor base(25, 25, 25);
    const QColor accent(42, 130, 218);

    QPalette palette;
    palette.setColor(QPalette::Window, windowGrey);
    palette.setColor(QPalette::WindowText, Qt::white);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, windowGrey);
    palette.setColor(QPalette::ToolTipBase, accent);
    palette.setColor(QPalette::ToolTipText, Qt::white);
    palette.setColor(QPalette::Text, Qt::white);
    palette.setColor(QPalette::Button, windowGrey);
    palette.setColor(QPalette::ButtonText, Qt::white);
    palette.setColor(QPalette::Link, accent);
    palette.setColor(QPalette::Highlight, accent);
    palette.setColor(QPalette::HighlightedText, Qt::black);
    palette.setColor(QPalette::Active, QPalette::Button, midGrey.darker(200));
    palette.setColor(QPalette::Disabled, QPalette::ButtonText, midGrey);
    palette.setColor(QPalette::Disabled, QPalette::WindowText, midGrey);
    palette.setColor(QPalette::Disabled, QPalette::Text, midGrey);
    palette.setColor(QPalette::Disabled, QPalette::Light, windowGrey);

    QApplication::setStyle(QStyleFactory::create("Fusion"));
    QApplication::setPalette(palette);
    qApp->setStyleSheet(
        "QToolTip { color: #ffffff; background-color: #2a82da; border: 1px solid white; }");
}

} // namespace

void addThemeOptions(QCommandLineParser &parser)
{
    parser.addOption({"ignore-dark", "Ignore the system-wide dark theme setting."});
}

bool settleTheme(const QCommandLineParser *parser, const Key<bool> *key)
{
    readSystemTheme();
    if (parser != nullptr && parser->isSet("ignore-dark")) {
        darkTheme = false;
        return true;
    }
    if (key != nullptr) {
        // Without a stored value the system's theme applies, not the key's default.
        const SettingsStore store;
        darkTheme = store.contains(*key) ? store.value(*key) : darkTheme;
    }
    if (darkTheme) {
        applyDarkTheme();
    }
    return true;
}

bool isDarkTheme()
{
    readSystemTheme();
    return darkTheme;
}
