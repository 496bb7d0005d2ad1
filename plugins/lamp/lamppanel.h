#pragma once

#include <QObject>
#include <QPointer>

#include <memory>

class LampModel;
class LampWindow;
class QWidget;

// What the type hands out for the user interface: see AbstractThingType::create().
class LampPanel : public QObject
{
    Q_OBJECT

public:
    explicit LampPanel(std::unique_ptr<LampModel> model);
    ~LampPanel() override;

    // The lamps' window, which belongs to `parent` or else to the caller and needs this object no
    // longer. The same window again at each call; null once it was deleted. On the interface
    // thread.
    Q_INVOKABLE QWidget *createWidget(QWidget *parent);

private:
    LampModel *m_model; // a child, until the window takes it
    QPointer<LampWindow> m_window;
};
