#include "ui/widgets/qtdockedapplication.h"

#include <QEvent>

QtDockedApplication::QtDockedApplication(int &argc, char **argv)
    : QApplication(argc, argv)
{
    // Icons are drawn from a font: with this, at the screen's resolution.
    setAttribute(Qt::AA_UseHighDpiPixmaps);
}

bool QtDockedApplication::event(QEvent *event)
{
    switch (event->type()) {
    case QEvent::ApplicationActivate:
        // A click on the dock entry activates an application that is active already. The first
        // activation may come from the start or from another window.
        if (m_active) {
            emit clickedOnDock();
        }
        m_active = true;
        break;
    case QEvent::ApplicationDeactivate:
        m_active = false;
        break;
    default:
        break;
    }
    return QApplication::event(event);
}
