#include "ui/widgets/qledlabel.h"

#include "ui/widgets/contrast.h"

#include <QPainter>

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
    const QMaterialIcon &icons = QMaterialIcon::instance();
    const QPixmap icon = icons.pixmap(m_name, side(), m_color, devicePixelRatioF());
    QPixmap light(icon.size());
    light.setDevicePixelRatio(icon.devicePixelRatioF());
    light.fill(Qt::transparent);
    QPainter painter(&light);
    paintStatusGround(painter, QRectF(QPointF(), QSizeF(icon.size()) / icon.devicePixelRatioF()),
                      icons.color(m_color), palette());
    painter.drawPixmap(0, 0, icon);
    painter.end();
    setPixmap(light);
}
