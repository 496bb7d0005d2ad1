// The stored layout of the window: Qt can restore what passes the check.
#include "settings/windowlayout.h"
#include "fuzz/fuzz.h"

#include <QMainWindow>
#include <QToolBar>

void fuzz(const QByteArray &bytes)
{
    static auto *const window = [] {
        auto *const made = new QMainWindow;
        made->addToolBar(QStringLiteral("tools"))->setObjectName(QStringLiteral("tools"));
        return made;
    }();
    if (windowlayout::isState(bytes)) {
        window->restoreState(bytes);
        require(windowlayout::isState(window->saveState()));
    }
    if (windowlayout::isGeometry(bytes)) {
        window->restoreGeometry(bytes);
    }
}
