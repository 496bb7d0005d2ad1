#include "ui/widgets/qmaterialicon.h"

#include "ui/widgets/qfonticonengine.h"

#include <QFontDatabase>
#include <QResource>

namespace {

// Not copied if the resource is stored uncompressed.
QByteArray contents(const char *file)
{
    return QResource(QLatin1String(file)).uncompressedData();
}

QString familyOf(const QByteArray &font)
{
    const int id = QFontDatabase::addApplicationFontFromData(font);
    return QFontDatabase::applicationFontFamilies(id).value(0);
}

} // namespace

QMaterialIcon &QMaterialIcon::instance()
{
    static QMaterialIcon icons;
    return icons;
}

QMaterialIcon::QMaterialIcon()
    : m_family(familyOf(contents(":/qtmf/src_v70/MaterialIcons-Regular.ttf")))
    , m_codepoints(contents(":/qtmf/src_v70/codepoints"))
{
}

void QMaterialIcon::setDark(bool dark)
{
    m_dark = dark;
}

QColor QMaterialIcon::color(Color role) const
{
    switch (role) {
    case Base:
        return m_dark ? Qt::white : Qt::black;
    case Checked:
    case Success:
        return m_dark ? QColor(0xA5, 0xD6, 0xA7) : QColor(0x4C, 0xAF, 0x50);
    // The light theme has the paler tones of these two: the design gives them so.
    case Warning:
        return m_dark ? QColor(0xFF, 0x98, 0x00) : QColor(0xFF, 0xCC, 0x80);
    case Error:
        return m_dark ? QColor(0xF4, 0x43, 0x36) : QColor(0xEF, 0x9A, 0x9A);
    }
    return {};
}

QIcon QMaterialIcon::icon(const QString &name) const
{
    return QIcon(new QFontIconEngine(m_family, drawable(name), drawable(name)));
}

QIcon QMaterialIcon::icon(const QString &name, Color color, Color checked) const
{
    return QIcon(new QFontIconEngine(m_family, drawable(name), drawable(name), this->color(color),
                                     this->color(checked)));
}

QPixmap QMaterialIcon::pixmap(const QString &name, int size, Color color, qreal ratio) const
{
    const int side = qRound(size * ratio);
    QFontIconEngine engine(m_family, drawable(name), QString(), this->color(color));
    QPixmap pixmap = engine.pixmap(QSize(side, side), QIcon::Normal, QIcon::Off);
    pixmap.setDevicePixelRatio(ratio);
    return pixmap;
}

// The table has one line for each glyph, "name hexadecimal-code-point". It is searched for the few
// names that are used: a hash of its two thousand would take 280 KB.
QString QMaterialIcon::glyph(const QString &name) const
{
    const QByteArray start = name.toUtf8() + ' ';
    int at = m_codepoints.indexOf(start);
    while (at > 0 && m_codepoints.at(at - 1) != '\n') {
        at = m_codepoints.indexOf(start, at + 1);
    }
    if (name.isEmpty() || at < 0) {
        return {};
    }
    at += start.size();
    const QByteArray code = m_codepoints.mid(at, m_codepoints.indexOf('\n', at) - at);
    bool ok = false;
    const uint point = code.trimmed().toUInt(&ok, 16);
    const bool isValid = ok && point <= QChar::LastValidCodePoint && !QChar::isSurrogate(point);
    return isValid ? QString::fromUcs4(&point, 1) : QString();
}

// Without the icon font, another font would draw the glyph as a box.
QString QMaterialIcon::drawable(const QString &name) const
{
    return m_family.isEmpty() ? QString() : glyph(name);
}
