#pragma once

#include <QString>

#include <initializer_list>

class QHBoxLayout;
class QLabel;
class QPushButton;
class QTableView;
class QWidget;

// The style that the pages share. Interface thread.
namespace pagestyle {

// The text that a page shows while it has nothing else to show.
QLabel *hint(const QString &text, QWidget *parent);

// The style and the keyboard navigation of tables.
void styleTable(QTableView *table);

// A button with the text as its accessible name. `name`: its object name.
QPushButton *button(const QString &text, const char *name, QWidget *parent);

// The widgets side by side, at the left or the right side.
QHBoxLayout *row(std::initializer_list<QWidget *> widgets, Qt::AlignmentFlag side);

// A tool tip that shows the text as it is, never as markup, and breaks long lines.
QString toolTip(const QString &text);

// Gives the focus to the page's first widget that takes it by Tab and can show that it has it.
void focusFirst(QWidget *page);

} // namespace pagestyle
