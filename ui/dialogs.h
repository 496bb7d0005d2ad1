#pragma once

#include <QMessageBox>
#include <QString>

#include <functional>

class QDialog;
class QWidget;

// Dialogs that do not hold up the program, one after the other for each window: of two that are
// open at once over one window, neither hears the keyboard. Interface thread. Texts are shown as
// they are, never as markup, unless said otherwise. Parents must not be null; the dialogs belong
// to the parent's window.
namespace dialogs {

// Opens the dialog, a child of its window, as soon as those before it are closed, and returns at
// once. Takes it over: it is deleted when it closes.
void openInTurn(QDialog *dialog);

// Tells the user something, with an OK button. One box that says the same already, or waits to,
// is enough. `format`: Qt::RichText for texts that are markup, whose foreign parts the caller has
// escaped.
void tell(QWidget *parent, QMessageBox::Icon icon, const QString &title, const QString &text,
          Qt::TextFormat format = Qt::PlainText);

// Tells that the settings could not be stored, and where.
void tellUnsaved(QWidget *parent);

// `text` short enough for a box and with places to break it: what devices and the cloud say may be
// long and without a blank.
QString presentable(const QString &text);

// Asks a question that is answered No unless the user presses Yes, upon which `accepted` is
// called; not when `parent` has gone by then.
void ask(QWidget *parent, const QString &title, const QString &text,
         const std::function<void()> &accepted);

} // namespace dialogs
