#pragma once

#include "ui/linknotices.h"

#include <QColor>
#include <QObject>
#include <QSystemTrayIcon>

#include <memory>

class QMenu;

// The tray icon. A desktop may start its tray after this program, so four more attempts follow the
// first one, within 50 seconds. Interface thread.
class TrayIcon : public QObject
{
    Q_OBJECT

public:
    // `menu`: the icon's context menu; borrowed for life.
    explicit TrayIcon(QMenu &menu, QObject *parent = nullptr);

    // Shows the link to the cloud by a mark on the icon, by the tool tip, and by balloons when
    // there is something to do.
    void showLink(const LinkState &state);

    bool isAvailable() const { return m_icon != nullptr; }
    // Says, once in the life of the settings, where the closed window is. Needs the icon.
    void showClosed();

signals:
    // The last attempt has failed.
    void missing();
    void activated(QSystemTrayIcon::ActivationReason reason);

private:
    void attempt();
    void showMark();
    void showNotice(const QString &text, QSystemTrayIcon::MessageIcon icon);

    QMenu &m_menu;
    int m_retries = 0;
    std::unique_ptr<QSystemTrayIcon> m_icon;
    QColor m_mark; // invalid: none
    QString m_headline;
    LinkNotices m_notices;
};
