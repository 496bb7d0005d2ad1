#include "app/platform/sleepsource.h"

#include "app/log.h"

#include <QDBusConnection>

// The signal of systemd-logind. Qt compares its sender with the owner of the name, so that no
// other program on the bus can send the gateway to sleep.
SleepSource::SleepSource()
{
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected() || !bus.connect("org.freedesktop.login1", "/org/freedesktop/login1",
                                           "org.freedesktop.login1.Manager", "PrepareForSleep",
                                           this, SLOT(sleepChanged(bool)))) {
        qCDebug(lcApp, "No system bus: sleep and wake go unnoticed");
    }
}
