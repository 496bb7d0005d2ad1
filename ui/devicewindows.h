#pragma once

#include <QObject>
#include <QPointer>

#include <memory>
#include <vector>

class QWidget;

// The windows that devices bring along. Interface thread.
class DeviceWindows : public QObject
{
    Q_OBJECT

public:
    explicit DeviceWindows(QObject *parent = nullptr);
    ~DeviceWindows() override;

    // Makes the window of a device's interface object (see AbstractThingType::create()) and takes
    // the object over. Shown at once, or with release() while they are held back. Null and
    // objects that make no window are dropped.
    void add(QObject *thui);
    // New windows wait until release(): nothing must pop up over the splash screen or beside a
    // window that starts hidden.
    void holdBack() { m_heldBack = true; }
    // Brings every window up, also those that the user closed.
    void showAll();
    // Ends the holding back and shows what waited; later calls do nothing.
    void release();

signals:
    // There is one now.
    void available();

private:
    struct Entry
    {
        std::unique_ptr<QObject> thui;
        QPointer<QWidget> window;
    };
    std::vector<Entry> m_entries;
    bool m_heldBack = false;
};
