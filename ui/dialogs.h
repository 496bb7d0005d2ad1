#pragma once

#include <QMessageBox>
#include <QString>

#include <functional>

class QWidget;

// Boxes that do not hold up the program, one after the other for each window. Interface thread.
// Texts are shown as they are, never as markup, unless said otherwise.
namespace dialogs {

// Opens a box with an OK button and returns at once. One that says the same already, or waits to,
// is enough. `format`: Qt::RichText for texts that are markup, whose foreign parts
// the caller has escaped.
void tell(QWidget *parent, QMessageBox::Icon icon, const QString &title, const QString &text,
          Qt::TextFormat format = Qt::PlainText);

// Asks a question that is answered No unless the user presses Yes, upon which `accepted` is
// called. `parent` must not be null: the call does not outlive it.
void ask(QWidget *parent, const QString &title, const QString &text,
         const std::function<void()> &accepted);

} // namespace dialogs
