#include "ui/devicewindows.h"

#include "ui/log.h"

#include <QWidget>

#include <memory>

namespace {

constexpr int maxWindows = 100; // plugins decide how many there are

void bringUp(QWidget *window)
{
    window->show();
    window->raise();
    window->activateWindow();
}

} // namespace

DeviceWindows::DeviceWindows(QObject *parent)
    : QObject(parent)
{
}

DeviceWindows::~DeviceWindows()
{
    qDeleteAll(m_windows);
}

void DeviceWindows::add(QObject *thui)
{
    if (thui == nullptr) {
        return;
    }
    std::unique_ptr<QObject> owned(thui);
    // Windows may delete themselves when they are closed.
    m_windows.removeAll(nullptr);
    QWidget *window = nullptr;
    if (m_windows.size() >= maxWindows ||
        !QMetaObject::invokeMethod(thui, "createWidget", Qt::DirectConnection,
                                   Q_RETURN_ARG(QWidget *, window), Q_ARG(QWidget *, nullptr)) ||
        window == nullptr) {
        qCWarning(lcUi, "Device window rejected: createWidget() failed or there are %d windows",
                  m_windows.size());
        return;
    }
    // After the window: its destructor may still use the object.
    connect(window, &QObject::destroyed, this,
            [ui = QPointer<QObject>(owned.release())] { delete ui; });
    m_windows.append(window);
    emit windowAdded();
    if (!m_heldBack) {
        bringUp(window);
    }
}

void DeviceWindows::release()
{
    if (m_heldBack) {
        showAll();
    }
}

void DeviceWindows::showAll()
{
    m_heldBack = false;
    for (const QPointer<QWidget> &window : qAsConst(m_windows)) {
        if (window) {
            bringUp(window);
        }
    }
}
