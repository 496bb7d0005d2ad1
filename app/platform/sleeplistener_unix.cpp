#include "app/sleeplistener.h"

#include "app/log.h"

#include <QDBusConnection>

// Connects to systemd-logind's signal. Qt accepts it only from the owner of that name on the bus.
void SleepListener::install()
{
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected() || !bus.connect("org.freedesktop.login1", "/org/freedesktop/login1",
                                           "org.freedesktop.login1.Manager", "PrepareForSleep",
                                           this, SLOT(sleepChanged(bool)))) {
        qCInfo(lcApp, "No sleep notifications: cannot connect to the system bus. After sleep, a "
                      "lost connection is noticed only by the keep-alive.");
    }
}
