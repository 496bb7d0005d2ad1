#include "ui/widgets/qcountdownlcd.h"

#include "ui/widgets/contrast.h"
#include "ui/widgets/qmaterialicon.h"

#include <QApplication>
#include <QPalette>
#include <QTimerEvent>

namespace {
constexpr int alertSeconds = 15;
}

QCountDownLCD::QCountDownLCD(QWidget *parent)
    : QLCDNumber(10, parent)
{
    setSegmentStyle(Flat);
    setFrameShape(NoFrame);
}

void QCountDownLCD::start(int seconds)
{
    stop();
    m_count = qMax(0, seconds);
    display(m_count);
    m_timerId = startTimer(1000, Qt::CoarseTimer);
    setDigitColor(QMaterialIcon::instance().color(QMaterialIcon::Base));
}

void QCountDownLCD::stop()
{
    if (isRunning()) {
        killTimer(m_timerId);
    }
    m_timerId = -1;
    setPalette(QApplication::palette(this));
}

void QCountDownLCD::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timerId) {
        QLCDNumber::timerEvent(event);
        return;
    }
    m_count = qMax(0, m_count - 1);
    display(m_count);
    if (m_count == 0) {
        stop();
        emit timeout();
    } else if (m_count <= alertSeconds) {
        setDigitColor(QMaterialIcon::instance().color(QMaterialIcon::Error));
    }
}

void QCountDownLCD::setDigitColor(const QColor &color)
{
    QPalette colored = QApplication::palette(this);
    colored.setBrush(QPalette::Window, legibleBackground(color, colored.color(QPalette::Window)));
    colored.setBrush(QPalette::WindowText, color);
    setPalette(colored);
    setAutoFillBackground(colored.color(QPalette::Window) !=
                          QApplication::palette(this).color(QPalette::Window));
}
