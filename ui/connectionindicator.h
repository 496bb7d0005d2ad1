#pragma once

#include "ui/widgets/qledlabel.h"

// The light in the status bar that tells of the cloud connection. Interface thread.
class ConnectionIndicator : public QLedLabel
{
    Q_OBJECT

public:
    explicit ConnectionIndicator(QWidget *parent);

    // Whether the gateway is registered, which shows only while it is not connected.
    void showRegistered(bool registered);
    void showConnected(bool connected);

private:
    void showState(const char *icon, QMaterialIcon::Color color, const QString &text);

    bool m_connected = false;
};
