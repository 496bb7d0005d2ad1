#pragma once

#include <QObject>
#include <QPointer>

#include <memory>

class LampModel;
class LampWindow;
class QWidget;

// The object that AbstractThingType::create() hands out for the user interface.
class LampPanel : public QObject
{
    Q_OBJECT

public:
    explicit LampPanel(std::unique_ptr<LampModel> model);

    // The lamps' window; belongs to `parent`, or to the caller when that is null. It does not need
    // this object. Later calls return the same window, or null once it is deleted. Call on the
    // interface thread.
    Q_INVOKABLE QWidget *createWidget(QWidget *parent);

private:
    LampModel *m_model; // a child, until the window takes it
    QPointer<LampWindow> m_window;
};
