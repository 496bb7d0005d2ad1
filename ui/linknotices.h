#pragma once

#include "runner/linkstate.h"

#include <QDate>
#include <QObject>
#include <QSystemTrayIcon>
#include <QTimer>

// Decides when the user is told of the link by a balloon: once when it was lost for five minutes,
// once when it is back after that, and at most once a day that the certificate expires soon.
// Interface thread.
class LinkNotices : public QObject
{
    Q_OBJECT

public:
    explicit LinkNotices(QObject *parent = nullptr);

    void showState(const LinkState &state);

signals:
    void notice(const QString &text, QSystemTrayIcon::MessageIcon icon);

private:
    void tellLost();

    LinkState m_state;
    QTimer m_lost;
    bool m_lossTold = false;
    QDate m_validityTold;
};
