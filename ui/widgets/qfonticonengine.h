#pragma once

#include <QColor>
#include <QIconEngine>
#include <QString>

// Draws an icon as text in an icon font. Interface thread. An empty glyph draws nothing; an
// invalid colour follows the application's palette. The checked colour, if there is one, replaces
// the other in the on state, unless the icon is disabled or selected.
class QFontIconEngine : public QIconEngine
{
public:
    QFontIconEngine(const QString &family, const QString &glyphOff, const QString &glyphOn,
                    const QColor &color = QColor(), const QColor &checkedColor = QColor());

    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State state) override;
    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state) override;
    QIconEngine *clone() const override;

private:
    QColor penColor(QIcon::Mode mode, QIcon::State state) const;

    QString m_family;
    QString m_glyphOff;
    QString m_glyphOn;
    QColor m_color;
    QColor m_checkedColor;
};
