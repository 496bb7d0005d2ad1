#pragma once

#include <QObject>

// An event filter for the editors of a page that scrolls: keeps the wheel from changing their
// values. Interface thread.
class WheelGuard : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    bool eventFilter(QObject *watched, QEvent *event) override;
};
