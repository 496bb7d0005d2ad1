#include "ui/widgets/qstatuslabel.h"

#include <QPalette>

QStatusLabel::QStatusLabel(QWidget *parent)
    : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
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
