#include "ui/trayicon.h"

#include "settings/defaults.h"

#include <QIcon>
#include <QMenu>
#include <QTimer>

TrayIcon::TrayIcon(QMenu &menu, QObject *parent)
    : QObject(parent)
    , m_menu(menu)
{
    attempt();
}

void TrayIcon::attempt()
{
    constexpr int maxRetries = 4;
    constexpr int retryStep = 5000; // milliseconds
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        if (m_retries < maxRetries) {
            ++m_retries;
            QTimer::singleShot(m_retries * retryStep, this, &TrayIcon::attempt);
        } else {
            emit missing();
        }
        return;
    }
    m_icon = std::make_unique<QSystemTrayIcon>(QIcon(QStringLiteral(":/kvg-gate.ico")));
    m_icon->setToolTip(QLatin1String("KVG-Gate v") + QLatin1String(defaults::Version));
    m_icon->setContextMenu(&m_menu);
    connect(m_icon.get(), &QSystemTrayIcon::activated, this, &TrayIcon::activated);
    m_icon->show();
}
