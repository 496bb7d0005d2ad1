#pragma once

#include <QByteArray>
#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QString>

// The icons of the interface: glyphs of the Material Icons font, found by name and coloured by
// roles that follow the theme. Interface thread. Icons keep the colours that they were made
// with, so setDark() comes before the first of them.
// Where the font, its table or a name is missing, icons draw nothing.
class QMaterialIcon
{
public:
    enum Color { Base, Checked, Success, Warning, Error };

    // Made by the first call, which needs the application object; lives until the process ends.
    static QMaterialIcon &instance();

    // Light at first.
    void setDark(bool dark);
    bool isDark() const { return m_dark; }
    QColor color(Color role) const;

    // In the palette's colour for texts on buttons.
    QIcon icon(const QString &name) const;
    // `checked` is the colour in the on state.
    QIcon icon(const QString &name, Color color, Color checked) const;
    // `size` is the side in device-independent pixels, `ratio` the screen's pixels for each.
    QPixmap pixmap(const QString &name, int size, Color color, qreal ratio = 1) const;

    // The glyph as text in the icon font; empty for a name that is not in the table.
    QString glyph(const QString &name) const;

private:
    QMaterialIcon();

    QString drawable(const QString &name) const;

    QString m_family;
    QByteArray m_codepoints;
    bool m_dark = false;
};
