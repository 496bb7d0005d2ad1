#include "app/platform/systemtheme.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>

bool systemThemeIsDark()
{
    // Without an address, libdbus would start a bus.
    if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS")) {
        return false;
    }
    constexpr int maxWait = 250; // milliseconds; delays the start-up
    constexpr uint preferDark = 1;
    constexpr int maxNesting = 3; // the portal wraps the value once more than documented
    QDBusMessage request = QDBusMessage::createMethodCall(
        "org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop",
        "org.freedesktop.portal.Settings", "Read");
    request << "org.freedesktop.appearance"
            << "color-scheme";
    const QDBusMessage reply = QDBusConnection::sessionBus().call(request, QDBus::Block, maxWait);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        return false;
    }
    QVariant value = reply.arguments().first();
    for (int i = 0; i < maxNesting && value.userType() == qMetaTypeId<QDBusVariant>(); ++i) {
        value = value.value<QDBusVariant>().variant();
    }
    return value.userType() == QMetaType::UInt && value.toUInt() == preferDark;
}
