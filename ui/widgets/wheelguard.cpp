#include "ui/widgets/wheelguard.h"

#include <QEvent>
#include <QWidget>

namespace {

class WheelGuard : public QObject
{
public:
    using QObject::QObject;

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Wheel) {
            event->ignore(); // goes on to the page, which scrolls
            return true;
        }
        return QObject::eventFilter(watched, event);
    }
};

} // namespace

void guardFromWheel(QWidget *editor)
{
    editor->setFocusPolicy(Qt::StrongFocus); // the wheel must not give it the focus either
    editor->installEventFilter(new WheelGuard(editor));
}
