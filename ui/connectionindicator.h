#pragma once

#include "ui/widgets/qledlabel.h"

// The icon in the status bar that shows the cloud connection. Interface thread.
class ConnectionIndicator : public QLedLabel
{
    Q_OBJECT

public:
    explicit ConnectionIndicator(QWidget *parent);

    // Has no effect while the gateway is connected.
    void showRegistered(bool registered);
    void showConnected(bool connected);

private:
    void showState(const char *icon, QMaterialIcon::Color color, const QString &text);

    bool m_connected = false;
};
