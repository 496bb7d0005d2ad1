#include "ui/pagestyle.h"

#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableView>

QLabel *pagestyle::hint(const QString &text, QWidget *parent)
{
    auto *const label = new QLabel(text, parent);
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
    label->setTextFormat(Qt::PlainText);
    label->setMargin(24);
    return label;
}

void pagestyle::styleTable(QTableView *table)
{
    table->setAlternatingRowColors(true);
    table->setShowGrid(false);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setTabKeyNavigation(false); // Tab leads on to the next control
    table->setWordWrap(false);
    table->verticalHeader()->hide();
    QHeaderView *const header = table->horizontalHeader();
    header->setHighlightSections(false);
    header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    header->setMinimumSectionSize(table->fontMetrics().averageCharWidth() * 12);
    header->setMaximumSectionSize(table->fontMetrics().averageCharWidth() * 48);
}

QPushButton *pagestyle::button(const QString &text, const char *name, QWidget *parent)
{
    auto *const button = new QPushButton(text, parent);
    button->setObjectName(QLatin1String(name));
    button->setAccessibleName(QString(text).remove(QLatin1Char('&')));
    return button;
}

QString pagestyle::cleanName(const QString &text)
{
    constexpr int longest = 100;
    QString clean;
    for (const QChar character : text.simplified()) {
        // Of the characters without a shape, the joiners belong to words and to pictures.
        const QChar::Category category = character.category();
        const bool joins = character == QChar(0x200c) || character == QChar(0x200d);
        if (joins || (category != QChar::Other_Control && category != QChar::Other_Format)) {
            clean += character;
        }
    }
    clean.truncate(longest);
    if (!clean.isEmpty() && clean.at(clean.size() - 1).isHighSurrogate()) {
        clean.chop(1);
    }
    return clean.trimmed();
}
