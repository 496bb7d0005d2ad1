#include "ui/aliasrule.h"

QString cleanAlias(const QString &text)
{
    QString clean;
    for (const QChar character : text.simplified()) {
        // The joiners are format characters, but words and emoji need them.
        const QChar::Category category = character.category();
        const bool joins = character == QChar(0x200c) || character == QChar(0x200d);
        if (joins || (category != QChar::Other_Control && category != QChar::Other_Format)) {
            clean += character;
        }
    }
    clean.truncate(maxAliasLength);
    if (!clean.isEmpty() && clean.at(clean.size() - 1).isHighSurrogate()) {
        clean.chop(1);
    }
    return clean.trimmed();
}
