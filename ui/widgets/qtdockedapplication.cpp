#include "ui/widgets/qtdockedapplication.h"

#include <QEvent>

QtDockedApplication::QtDockedApplication(int &argc, char **argv)
    : QApplication(argc, argv)
{
    // Icons are drawn from a font: with this they are drawn in the screen's own pixels.
    setAttribute(Qt::AA_UseHighDpiPixmaps);
}

bool QtDockedApplication::event(QEvent *event)
{
    switch (event->type()) {
    case QEvent::ApplicationActivate:
        // Becoming active says nothing of the dock: a switch between windows does that, too, and
        // so does the start. A click on the dock entry is reported as one more activation.
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
