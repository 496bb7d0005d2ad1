#include "ui/devicewindows.h"

#include "ui/log.h"

#include <QWidget>

#include <algorithm>

namespace {

constexpr size_t maxWindows = 100; // plugins decide how many there are

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
    for (const Entry &entry : m_entries) {
        delete entry.window;
    }
}

void DeviceWindows::add(QObject *thui)
{
    if (thui == nullptr) {
        return;
    }
    std::unique_ptr<QObject> owned(thui);
    // Windows may delete themselves when they are closed.
    const auto isGone = [](const Entry &entry) { return entry.window.isNull(); };
    m_entries.erase(std::remove_if(m_entries.begin(), m_entries.end(), isGone), m_entries.end());
    QWidget *window = nullptr;
    if (m_entries.size() >= maxWindows ||
        !QMetaObject::invokeMethod(thui, "createWidget", Qt::DirectConnection,
                                   Q_RETURN_ARG(QWidget *, window), Q_ARG(QWidget *, nullptr)) ||
        window == nullptr) {
        qCWarning(lcUi, "Device window rejected: createWidget() failed or %zu windows are open",
                  m_entries.size());
        return;
    }
    m_entries.push_back({std::move(owned), window});
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
    for (const Entry &entry : m_entries) {
        if (entry.window) {
            bringUp(entry.window);
        }
    }
}
