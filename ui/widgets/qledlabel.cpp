#include "ui/widgets/qledlabel.h"

QLedLabel::QLedLabel(QWidget *parent)
    : QLabel(parent)
{
}

void QLedLabel::setIcon(const QString &name, QMaterialIcon::Color color)
{
    m_name = name;
    m_color = color;
    draw();
}

void QLedLabel::paintEvent(QPaintEvent *event)
{
    // The parent got another height, or the window went to a screen of another density.
    const QPixmap shown = pixmap(Qt::ReturnByValue);
    if (!shown.isNull() && (!qFuzzyCompare(shown.devicePixelRatioF(), devicePixelRatioF()) ||
                            shown.width() != qRound(side() * devicePixelRatioF()))) {
        draw();
    }
    QLabel::paintEvent(event);
}

int QLedLabel::side() const
{
    return parentWidget() == nullptr ? 16 : qBound(16, parentWidget()->height() - 6, 24);
}

void QLedLabel::draw()
{
    setPixmap(QMaterialIcon::instance().pixmap(m_name, side(), m_color, devicePixelRatioF()));
}
