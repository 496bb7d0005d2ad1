#include "ui/trayicon.h"

#include "settings/defaults.h"
#include "settings/settingsstore.h"
#include "ui/linktext.h"
#include "ui/log.h"
#include "ui/widgets/qmaterialicon.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QIcon>
#include <QMenu>
#include <QPainter>
#include <QTimer>

TrayIcon::TrayIcon(QMenu &menu, QObject *parent)
    : QObject(parent)
    , m_menu(menu)
{
    connect(&m_notices, &LinkNotices::notice, this, &TrayIcon::showNotice);
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
            qCInfo(lcUi, "This desktop has no tray: closing the window minimises it");
            emit missing();
        }
        return;
    }
    m_icon = std::make_unique<QSystemTrayIcon>();
    m_icon->setContextMenu(&m_menu);
    connect(m_icon.get(), &QSystemTrayIcon::activated, this, &TrayIcon::activated);
    showMark();
    m_icon->show();
}

void TrayIcon::showLink(const LinkState &state)
{
    m_notices.showState(state);
    const QString headline = linktext::headline(state, QDateTime::currentMSecsSinceEpoch());
    const auto role = state.kind == LinkState::Connected ? QMaterialIcon::Color::Success
                                                         : QMaterialIcon::Color::Error;
    const QColor mark =
        state.kind == LinkState::NotRegistered ? QColor() : QMaterialIcon::instance().color(role);
    if (mark != m_mark || headline != m_headline) {
        m_mark = mark;
        m_headline = headline;
        showMark();
    }
}

void TrayIcon::showMark()
{
    if (!m_icon) {
        return;
    }
    constexpr int size = 64; // pixels; the tray scales it
    QPixmap picture = QIcon(QStringLiteral(":/kvg-gate.ico")).pixmap(size, size);
    if (m_mark.isValid()) {
        QPainter painter(&picture);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(Qt::black, size / 16.0));
        painter.setBrush(m_mark);
        const QRectF place(picture.width() * 0.55, picture.height() * 0.55, picture.width() * 0.42,
                           picture.height() * 0.42);
        painter.drawEllipse(place);
    }
    m_icon->setIcon(picture);
    m_icon->setToolTip(QLatin1String("KVG-Gate v") + QLatin1String(defaults::Version) +
                       (m_headline.isEmpty() ? QString() : QLatin1Char('\n') + m_headline));
}

void TrayIcon::showClosed()
{
    SettingsStore store;
    if (m_icon && !store.value(keys::TrayNoticeShown)) {
        showNotice(
            tr("The gateway keeps running here. Click on the icon to open the window; Exit in "
               "its menu ends the program."),
            QSystemTrayIcon::Information);
        store.set(keys::TrayNoticeShown, true);
    }
}

void TrayIcon::showNotice(const QString &text, QSystemTrayIcon::MessageIcon icon)
{
    if (m_icon) {
        m_icon->showMessage(QCoreApplication::applicationName(), text, icon);
    }
}
