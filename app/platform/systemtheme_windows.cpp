#include "app/platform/systemtheme.h"

#include <QSettings>
#include <QVariant>

bool systemThemeIsDark()
{
    const QSettings theme("HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Themes"
                          "\\Personalize",
                          QSettings::NativeFormat);
    const QVariant light = theme.value("AppsUseLightTheme");
    return light.isValid() && light == 0;
}
