#pragma once

#include <QObject>
#include <QSystemTrayIcon>

#include <memory>

class QMenu;

// The icon in the tray, once there is a tray: desktops may bring theirs up after the session's
// programs, so it is looked for five times in 50 seconds. Interface thread.
class TrayIcon : public QObject
{
    Q_OBJECT

public:
    // `menu`: the icon's context menu; borrowed for life.
    explicit TrayIcon(QMenu &menu, QObject *parent = nullptr);
    ~TrayIcon() override;

    bool isThere() const { return m_icon != nullptr; }

signals:
    // There is no tray, and it is looked for no more.
    void missing();
    void activated(QSystemTrayIcon::ActivationReason reason);

private:
    void attempt();

    QMenu &m_menu;
    int m_retries = 0;
    std::unique_ptr<QSystemTrayIcon> m_icon;
};
