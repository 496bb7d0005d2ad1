#include "ui/widgets/wheelguard.h"

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QEvent>
#include <QSpinBox>

bool WheelGuard::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Wheel && (qobject_cast<QComboBox *>(watched) != nullptr ||
                                           qobject_cast<QSpinBox *>(watched) != nullptr ||
                                           qobject_cast<QDoubleSpinBox *>(watched) != nullptr)) {
        event->ignore(); // goes on to the page, which scrolls
        return true;
    }
    return QObject::eventFilter(watched, event);
}
