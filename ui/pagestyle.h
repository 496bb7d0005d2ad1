#pragma once

#include <QString>

class QLabel;
class QPushButton;
class QTableView;
class QWidget;

// The look that the pages have in common. Interface thread.
namespace pagestyle {

// What a page shows in place of what is not there yet.
QLabel *hint(const QString &text, QWidget *parent);

// The look and the keys of tables.
void styleTable(QTableView *table);

// A button whose name for screen readers is its text. `name`: of the object.
QPushButton *button(const QString &text, const char *name, QWidget *parent);

} // namespace pagestyle
