#include "ui/aliasrule.h"

#include <QRandomGenerator>

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
    return clean.simplified(); // what went may have stood between blanks
}

QString randomAlias(const QString &type)
{
    const quint32 number = QRandomGenerator::global()->bounded(0x10000U, 0x100000U);
    const QString suffix = QLatin1Char('_') + QString::number(number, 16);
    return cleanAlias(type).left(maxAliasLength - suffix.size()) + suffix;
}

QString typeOfShortId(const QString &sid)
{
    return sid.section(QLatin1Char('_'), 0, 0);
}

QString serialOfShortId(const QString &sid)
{
    return sid.section(QLatin1Char('_'), 2);
}
