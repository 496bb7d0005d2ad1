#include "ui/devicewindows.h"

#include "ui/log.h"

#include <QScreen>
#include <QWidget>

#include <memory>

namespace {

constexpr int maxWindows = 100;          // plugins decide how many there are
constexpr char idProperty[] = "shortid"; // as DeviceScan sets it at the interface object

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
    window->setProperty(idProperty, thui->property(idProperty));
    m_windows.append(window);
    emit windowAdded();
    if (!m_heldBack) {
        bringUp(window);
    }
}

void DeviceWindows::release(const QWidget &main)
{
    if (!m_heldBack) {
        return;
    }
    m_heldBack = false;
    for (const QPointer<QWidget> &window : qAsConst(m_windows)) {
        if (window) {
            const QRect frame = main.frameGeometry();
            if (main.screen()->availableGeometry().right() - frame.right() >= window->width()) {
                window->move(frame.topRight() + QPoint(1, 0));
            }
            window->setAttribute(Qt::WA_ShowWithoutActivating);
            window->show();
            window->setAttribute(Qt::WA_ShowWithoutActivating, false);
        }
    }
}

QWidget *DeviceWindows::windowOf(const QString &shortid) const
{
    const QString type = shortid.section(QLatin1Char('_'), 0, 0) + QLatin1Char('_');
    QWidget *found = nullptr;
    for (const QPointer<QWidget> &window : m_windows) {
        const QString id = window ? window->property(idProperty).toString() : QString();
        if (id == shortid) {
            return window;
        }
        if (id.startsWith(type)) {
            found = window;
        }
    }
    return found;
}

void DeviceWindows::show(const QString &shortid)
{
    if (QWidget *const window = windowOf(shortid)) {
        bringUp(window);
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
