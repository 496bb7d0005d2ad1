#pragma once

#include <QObject>

// Keeps the mouse wheel from changing the value of an editor, so that it scrolls the page instead.
// Interface thread.
class WheelGuard : public QObject
{
    Q_OBJECT

public:
    // Guards the editor for its life.
    static void install(QWidget *editor);

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    explicit WheelGuard(QWidget *editor);
};
