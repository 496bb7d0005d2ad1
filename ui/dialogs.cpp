#include "ui/dialogs.h"

namespace {

QMessageBox *makeBox(QWidget *parent, QMessageBox::Icon icon, const QString &title,
                     const QString &text)
{
    auto *const box = new QMessageBox(icon, title, text, QMessageBox::NoButton, parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    return box;
}

bool isOpen(const QWidget *parent, const QString &text)
{
    const auto boxes =
        parent == nullptr
            ? QList<QMessageBox *>()
            : parent->findChildren<QMessageBox *>(QString(), Qt::FindDirectChildrenOnly);
    for (QMessageBox *const box : boxes) {
        if (box->isVisible() && box->text() == text) {
            box->raise();
            return true;
        }
    }
    return false;
}

} // namespace

void dialogs::tell(QWidget *parent, QMessageBox::Icon icon, const QString &title,
                   const QString &text, Qt::TextFormat format)
{
    if (isOpen(parent, text)) {
        return;
    }
    QMessageBox *const box = makeBox(parent, icon, title, text);
    box->setTextFormat(format);
    box->addButton(QMessageBox::Ok);
    box->open();
}

void dialogs::ask(QWidget *parent, const QString &title, const QString &text,
                  const std::function<void()> &accepted)
{
    QMessageBox *const box = makeBox(parent, QMessageBox::Question, title, text);
    box->setTextFormat(Qt::PlainText);
    box->setStandardButtons(QMessageBox::Yes | QMessageBox::No);
    box->setDefaultButton(QMessageBox::No);
    QObject::connect(box, &QMessageBox::finished, parent, [accepted](int answer) {
        if (answer == QMessageBox::Yes) {
            accepted();
        }
    });
    box->open();
}
