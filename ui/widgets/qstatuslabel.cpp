#include "ui/widgets/qstatuslabel.h"

#include "ui/widgets/contrast.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPalette>

QStatusLabel::QStatusLabel(QWidget *parent)
    : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
    setContentsMargins(8, 2, 8, 2);
    setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
}

void QStatusLabel::setText(const QString &text, const QColor &color)
{
    if (color.isValid()) {
        QPalette colored = palette();
        colored.setBrush(QPalette::WindowText, color);
        setPalette(colored);
    }
    setText(text);
}

void QStatusLabel::paintEvent(QPaintEvent *event)
{
    const QColor plain = QGuiApplication::palette().color(QPalette::WindowText);
    if (palette().color(QPalette::WindowText) != plain && !text().isEmpty()) {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(statusGround));
        painter.drawRoundedRect(rect(), 4, 4);
    }
    QLabel::paintEvent(event);
}
