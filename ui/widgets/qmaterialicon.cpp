#include "ui/widgets/qmaterialicon.h"

#include "ui/widgets/qfonticonengine.h"

#include <QFile>
#include <QFontDatabase>

namespace {

constexpr int maxLineLength = 256;
constexpr int maxGlyphs = 20000;

QString familyOf(const QString &fontFile)
{
    const int id = QFontDatabase::addApplicationFont(fontFile);
    return QFontDatabase::applicationFontFamilies(id).value(0);
}

// One line for each glyph, "name hexadecimal-code-point"; other lines are ignored.
QHash<QString, QString> readCodepoints(const QString &fileName)
{
    QHash<QString, QString> glyphs;
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        return glyphs;
    }
    while (glyphs.size() < maxGlyphs) {
        const QByteArray line = file.readLine(maxLineLength);
        if (line.isNull()) {
            break;
        }
        const QList<QByteArray> parts = line.trimmed().split(' ');
        bool ok = false;
        const uint code = parts.value(1).toUInt(&ok, 16);
        if (ok && code <= QChar::LastValidCodePoint && !QChar::isSurrogate(code)) {
            glyphs.insert(QString::fromUtf8(parts.first()), QString::fromUcs4(&code, 1));
        }
    }
    return glyphs;
}

} // namespace

QMaterialIcon &QMaterialIcon::instance()
{
    static QMaterialIcon icons;
    return icons;
}

QMaterialIcon::QMaterialIcon()
    : m_family(familyOf(QStringLiteral(":/qtmf/src_v70/MaterialIcons-Regular.ttf")))
    , m_glyphs(readCodepoints(QStringLiteral(":/qtmf/src_v70/codepoints")))
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

// Without the icon font, another font would draw the glyph as a box.
QString QMaterialIcon::drawable(const QString &name) const
{
    return m_family.isEmpty() ? QString() : m_glyphs.value(name);
}
