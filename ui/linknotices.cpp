#include "ui/linknotices.h"

#include "ui/linktext.h"

#include <QDateTime>

#include <chrono>
#include <utility>

using namespace std::chrono_literals;

LinkNotices::LinkNotices(QObject *parent)
    : QObject(parent)
    , m_lost(this)
{
    m_lost.setSingleShot(true);
    m_lost.setInterval(5min);
    connect(&m_lost, &QTimer::timeout, this, &LinkNotices::tellLost);
}

void LinkNotices::showState(const LinkState &state)
{
    const bool wasConnected = m_state.kind == LinkState::Connected;
    m_state = state;
    if (state.kind == LinkState::Connected) {
        m_lost.stop();
        if (std::exchange(m_lossTold, false)) {
            emit notice(tr("The connection to the cloud is back."), QSystemTrayIcon::Information);
        }
    } else if (state.kind == LinkState::NotRegistered) {
        m_lost.stop();
        m_lossTold = false;
    } else if (wasConnected) {
        m_lost.start();
    }
    const QDateTime now = QDateTime::currentDateTime();
    if (state.kind != LinkState::NotRegistered && m_validityTold != now.date() &&
        now.toMSecsSinceEpoch() >= state.certificateFrom && // else the clock is wrong
        linktext::isValidityWarning(state, now.toMSecsSinceEpoch())) {
        m_validityTold = now.date();
        emit notice(tr("The certificate of this gateway: %1. Register the gateway again on the "
                       "Cloud page; all names stay.")
                        .arg(linktext::validity(state, now.toMSecsSinceEpoch())),
                    QSystemTrayIcon::Warning);
    }
}

void LinkNotices::tellLost()
{
    m_lossTold = true;
    emit notice(tr("The connection to the cloud is lost. %1")
                    .arg(linktext::headline(m_state, QDateTime::currentMSecsSinceEpoch())),
                QSystemTrayIcon::Warning);
}
