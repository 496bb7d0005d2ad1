#include "ui/connectionindicator.h"

#include "ui/linktext.h"

#include <QDateTime>

using Role = QMaterialIcon::Color;

ConnectionIndicator::ConnectionIndicator(QWidget *parent)
    : QLedLabel(parent)
{
    showRegistered(false);
}

void ConnectionIndicator::showRegistered(bool registered)
{
    if (registered && !m_connected) {
        showConnected(false);
    } else if (!m_connected) {
        showState("gps_off", Role::Base, tr("Cloud connection is not configured"));
    }
}

void ConnectionIndicator::showConnected(bool connected)
{
    m_connected = connected;
    if (connected) {
        showState("gps_fixed", Role::Success, tr("Connected to the cloud"));
    } else {
        showState("gps_not_fixed", Role::Error, tr("Disconnected from the cloud"));
    }
}

void ConnectionIndicator::showState(const char *icon, Role color, const QString &text)
{
    setIcon(QLatin1String(icon), color);
    setAccessibleName(text);
    m_text = text;
    updateToolTip();
}

void ConnectionIndicator::showLink(const LinkState &state)
{
    m_headline = linktext::headline(state, QDateTime::currentMSecsSinceEpoch());
    updateToolTip();
}

void ConnectionIndicator::updateToolTip()
{
    setToolTip(m_headline.isEmpty() ? m_text : m_text + QLatin1Char('\n') + m_headline);
}
