#include "ui/widgets/wheelguard.h"

#include <QEvent>
#include <QWidget>

WheelGuard::WheelGuard(QWidget *editor)
    : QObject(editor)
{
}

void WheelGuard::install(QWidget *editor)
{
    editor->setFocusPolicy(Qt::StrongFocus); // the wheel must not give it the focus either
    editor->installEventFilter(new WheelGuard(editor));
}

bool WheelGuard::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Wheel) {
        event->ignore(); // goes on to the page, which scrolls
        return true;
    }
    return QObject::eventFilter(watched, event);
}
