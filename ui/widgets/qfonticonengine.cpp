#include "ui/widgets/qfonticonengine.h"

#include <QApplication>
#include <QPainter>
#include <QPalette>
#include <QPixmap>

QFontIconEngine::QFontIconEngine(const QString &family, const QString &glyphOff,
                                 const QString &glyphOn, const QColor &color,
                                 const QColor &checkedColor)
    : m_family(family)
    , m_glyphOff(glyphOff)
    , m_glyphOn(glyphOn)
    , m_color(color)
    , m_checkedColor(checkedColor)
{
}

QColor QFontIconEngine::penColor(QIcon::Mode mode, QIcon::State state) const
{
    const QPalette palette = QApplication::palette("QWidget");
    if (mode == QIcon::Disabled) {
        return palette.color(QPalette::Disabled, QPalette::ButtonText);
    }
    const QColor &text = palette.color(QPalette::Active, QPalette::ButtonText);
    if (mode == QIcon::Selected) {
        return text;
    }
    if (state == QIcon::On && m_checkedColor.isValid()) {
        return m_checkedColor;
    }
    return m_color.isValid() ? m_color : text;
}

void QFontIconEngine::paint(QPainter *painter, const QRect &rect, QIcon::Mode mode,
                            QIcon::State state)
{
    QFont font(m_family);
    font.setPixelSize(qMax(1, qRound(rect.height() * 0.8)));
    painter->save();
    painter->setPen(penColor(mode, state));
    painter->setFont(font);
    painter->drawText(rect, Qt::AlignCenter, state == QIcon::On ? m_glyphOn : m_glyphOff);
    painter->restore();
}

QPixmap QFontIconEngine::pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state)
{
    QPixmap pixmap(size);
    if (pixmap.isNull()) {
        return pixmap;
    }
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    paint(&painter, QRect(QPoint(), size), mode, state);
    return pixmap;
}

QIconEngine *QFontIconEngine::clone() const
{
    return new QFontIconEngine(*this);
}
