#include "ui/pagestyle.h"

#include "ui/dialogs.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QTableView>
#include <QTextDocument>

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
    table->setTabKeyNavigation(false); // Tab moves to the next widget
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

QHBoxLayout *pagestyle::row(std::initializer_list<QWidget *> widgets, Qt::AlignmentFlag side)
{
    auto *const row = new QHBoxLayout;
    for (QWidget *const widget : widgets) {
        row->addWidget(widget);
    }
    row->insertStretch(side == Qt::AlignRight ? 0 : -1);
    return row;
}

QString pagestyle::toolTip(const QString &text)
{
    constexpr int maxLineLength = 80; // Qt breaks the lines of markup alone
    const bool isPlain = text.size() <= maxLineLength && !Qt::mightBeRichText(text);
    return isPlain ? text : QLatin1String("<p>") + dialogs::shortened(text).toHtmlEscaped();
}

void pagestyle::focusFirst(QWidget *page)
{
    const auto canShowFocus = [page](const QWidget *widget) {
        return page->isAncestorOf(widget) && (widget->focusPolicy() & Qt::TabFocus) &&
               widget->isEnabled() && widget->isVisibleTo(page) &&
               qobject_cast<const QScrollArea *>(widget) == nullptr;
    };
    QWidget *widget = page->focusProxy() ? page->focusProxy() : page->nextInFocusChain();
    while (widget != page && !canShowFocus(widget)) {
        widget = widget->nextInFocusChain();
    }
    widget->setFocus(Qt::ShortcutFocusReason); // with this reason, widgets show that they have it
}
