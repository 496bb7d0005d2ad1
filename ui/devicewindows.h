#pragma once

#include <QObject>
#include <QPointer>
#include <QVector>

class QWidget;

// The devices' own windows. Interface thread.
class DeviceWindows : public QObject
{
    Q_OBJECT

public:
    explicit DeviceWindows(QObject *parent = nullptr);
    ~DeviceWindows() override;

    // Takes ownership of a device's interface object (see AbstractThingType::create()) and shows
    // the window that it makes; while held back, release() shows it. An object that makes no
    // window is deleted with a log line; null is ignored.
    void add(QObject *thui);
    // New windows stay hidden until release(): none must pop up over the splash screen or while
    // the main window starts hidden.
    void holdBack() { m_heldBack = true; }
    // Shows every window, also those that the user closed.
    void showAll();
    // Ends holdBack() and shows every window beside `main`, which keeps the focus; does nothing
    // without a holdBack() before it.
    void release(const QWidget &main);
    // Whether the device, or another one of its type, has brought a window along.
    bool has(const QString &shortid) const { return windowOf(shortid) != nullptr; }
    // Shows and activates that window.
    void show(const QString &shortid);

signals:
    void windowAdded();

private:
    QWidget *windowOf(const QString &shortid) const;

    QVector<QPointer<QWidget>> m_windows; // with each, its interface object ends
    bool m_heldBack = false;
};
