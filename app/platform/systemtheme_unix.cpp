#include "app/platform/systemtheme.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>

bool systemThemeIsDark()
{
    // Without an address the library would look for a bus and start one.
    if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS")) {
        return false;
    }
    constexpr int wait = 250; // milliseconds, of the user's start-up
    constexpr uint preferDark = 1;
    constexpr int nesting = 3; // the portal wraps the value once more than its interface says
    QDBusMessage question = QDBusMessage::createMethodCall(
        "org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop",
        "org.freedesktop.portal.Settings", "Read");
    question << "org.freedesktop.appearance"
             << "color-scheme";
    const QDBusMessage answer = QDBusConnection::sessionBus().call(question, QDBus::Block, wait);
    if (answer.type() != QDBusMessage::ReplyMessage || answer.arguments().isEmpty()) {
        return false;
    }
    QVariant value = answer.arguments().first();
    for (int i = 0; i < nesting && value.userType() == qMetaTypeId<QDBusVariant>(); ++i) {
        value = value.value<QDBusVariant>().variant();
    }
    return value.userType() == QMetaType::UInt && value.toUInt() == preferDark;
}
