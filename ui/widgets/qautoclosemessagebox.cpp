#include "ui/widgets/qautoclosemessagebox.h"

#include <QPushButton>
#include <QShowEvent>

#include <chrono>

using namespace std::chrono_literals;

QAutoCloseMessageBox::QAutoCloseMessageBox(Icon icon, const QString &title, const QString &text,
                                           StandardButtons buttons, QWidget *parent)
    : QMessageBox(icon, title, text, buttons, parent)
{
    m_timer.setInterval(1s);
    connect(&m_timer, &QTimer::timeout, this, &QAutoCloseMessageBox::d_timeout);
    connect(this, &QDialog::finished, this, &QAutoCloseMessageBox::d_finished);
}

void QAutoCloseMessageBox::setTimeout(int seconds)
{
    if (seconds == m_timeout) {
        return;
    }
    m_timeout = seconds;
    emit timeoutChanged(m_timeout);
}

void QAutoCloseMessageBox::showEvent(QShowEvent *event)
{
    QMessageBox::showEvent(event);
    // A spontaneous event comes from the window system: the box was minimised, and still counts.
    if (event->spontaneous() || m_timeout <= 0 || defaultButton() == nullptr) {
        return;
    }
    // A box that was hidden without an answer still has the seconds in its button's text.
    endCounting();
    m_button = defaultButton();
    m_buttonText = m_button->text();
    m_remaining = m_timeout;
    showRemaining();
    m_timer.start();
}

void QAutoCloseMessageBox::d_timeout()
{
    if (m_timeout <= 0 || m_button.isNull()) {
        endCounting();
        return;
    }
    --m_remaining;
    if (m_remaining > 0) {
        showRemaining();
        return;
    }
    m_timer.stop();
    m_button->animateClick();
}

void QAutoCloseMessageBox::d_finished(int /*result*/)
{
    endCounting();
}

void QAutoCloseMessageBox::showRemaining()
{
    m_button->setText(m_buttonText + QStringLiteral(" (%1)").arg(m_remaining));
}

void QAutoCloseMessageBox::endCounting()
{
    m_timer.stop();
    if (!m_button.isNull()) {
        m_button->setText(m_buttonText);
    }
    m_button.clear();
}
