#include "plugins/serial/portinfo.h"

#include <algorithm>

QString identityText(const QString &text)
{
    constexpr int maxLength = 64;
    QString result = text.trimmed().left(maxLength);
    bool isUsable = false;
    for (QChar &character : result) {
        const ushort code = character.unicode();
        isUsable = isUsable || (code < 0x7f && character.isLetterOrNumber());
        if (code <= 0x20 || code >= 0x7f || QStringLiteral("_#+/").contains(character)) {
            character = QLatin1Char('-');
        }
    }
    return isUsable ? result : QString();
}

QString PortInfo::serial() const
{
    const QString number = identityText(usbSerial);
    if (!number.isEmpty()) {
        return number;
    }
    return vendor == 0 ? identityText(name.section(QLatin1Char('/'), -1))
                       : QStringLiteral("%1-%2")
                             .arg(vendor, 4, 16, QLatin1Char('0'))
                             .arg(product, 4, 16, QLatin1Char('0'));
}
