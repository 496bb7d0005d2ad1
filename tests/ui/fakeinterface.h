#pragma once

#include <QWidget>

// A device's interface object: makes one window, which it does not own.
class FakeInterface : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE QWidget *createWidget(QWidget *parent)
    {
        auto *const window = new QWidget(parent);
        window->setObjectName("deviceWindow");
        return window;
    }
};
