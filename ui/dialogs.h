#pragma once

#include <QMessageBox>
#include <QString>

#include <functional>

class QDialog;
class QWidget;

// Non-blocking dialogs, queued per window: of two dialogs that are open over one window, neither
// gets the keyboard. Interface thread. Texts are plain text unless said otherwise. Parents must not
// be null; the dialogs are children of the parent's window.
namespace dialogs {

// Opens the dialog, a child of its window, when those before it are closed; returns at once. Takes
// ownership: the dialog is deleted when it closes.
void enqueue(QDialog *dialog);

// Shows a message with an OK button, unless a box with this text is open or queued, or too many
// are queued. `format`: Qt::RichText is for callers that escape the foreign parts of the text.
void showMessage(QWidget *parent, QMessageBox::Icon icon, const QString &title, const QString &text,
                 Qt::TextFormat format = Qt::PlainText);

// As showMessage(), with a second button that calls `action`, unless `parent` has been deleted by
// then. `closing`, the button that only closes the box, is the default.
void showMessageWithAction(QWidget *parent, QMessageBox::Icon icon, const QString &title,
                           const QString &text, const QString &button,
                           const std::function<void()> &action,
                           QMessageBox::StandardButton closing = QMessageBox::Ok);

// Says that the settings could not be saved, and where.
void showSaveFailed(QWidget *parent);

// Cuts a text from a device or the cloud to what a box can show, and inserts zero-width spaces
// into long words, so that they can be wrapped.
QString shortened(const QString &text);

// Asks a question whose default answer is No. Yes calls `accepted`, unless `parent` has been
// deleted by then.
void ask(QWidget *parent, const QString &title, const QString &text,
         const std::function<void()> &accepted);

} // namespace dialogs
