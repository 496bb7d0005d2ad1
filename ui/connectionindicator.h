#pragma once

#include "ui/widgets/qledlabel.h"

struct LinkState;

// The icon in the status bar that shows the cloud connection. Interface thread.
class ConnectionIndicator : public QLedLabel
{
    Q_OBJECT

public:
    explicit ConnectionIndicator(QWidget *parent);

    // Has no effect while the gateway is connected.
    void showRegistered(bool registered);
    void showConnected(bool connected);
    // Adds cause and cure of a failure to the tool tip.
    void showLink(const LinkState &state);

private:
    void updateToolTip();
    void showState(const char *icon, QMaterialIcon::Color color, const QString &text);

    bool m_connected = false;
    QString m_text;
    QString m_headline; // of the link
};
