#include "ui/dialogs.h"

namespace {

constexpr int mostWaiting = 20; // boxes of one window; whoever makes more tells nothing new

const QString pending = QStringLiteral("pendingBox");

// Those that are open or wait, in the order in which they were made; not those that only wait
// for their deletion.
QList<QMessageBox *> boxesOf(const QWidget *window)
{
    return window == nullptr
               ? QList<QMessageBox *>()
               : window->findChildren<QMessageBox *>(pending, Qt::FindDirectChildrenOnly);
}

QMessageBox *makeBox(QWidget *window, QMessageBox::Icon icon, const QString &title,
                     const QString &text)
{
    auto *const box = new QMessageBox(icon, title, text, QMessageBox::NoButton, window);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setObjectName(pending);
    QObject::connect(box, &QMessageBox::finished, box, [box] { box->setObjectName(QString()); });
    return box;
}

// Of two boxes that are open at once over one window, neither hears the keyboard.
void openAfter(const QList<QMessageBox *> &others, QMessageBox *box)
{
    if (others.isEmpty()) {
        box->open();
    } else {
        QObject::connect(others.last(), &QMessageBox::finished, box, &QDialog::open);
    }
}

} // namespace

void dialogs::tell(QWidget *parent, QMessageBox::Icon icon, const QString &title,
                   const QString &text, Qt::TextFormat format)
{
    QWidget *const window = parent == nullptr ? nullptr : parent->window();
    const QList<QMessageBox *> others = boxesOf(window);
    for (QMessageBox *const other : others) {
        if (other->text() == text) {
            other->raise();
            return;
        }
    }
    if (others.size() >= mostWaiting) {
        return;
    }
    QMessageBox *const box = makeBox(window, icon, title, text);
    box->setTextFormat(format);
    box->addButton(QMessageBox::Ok);
    openAfter(others, box);
}

void dialogs::ask(QWidget *parent, const QString &title, const QString &text,
                  const std::function<void()> &accepted)
{
    const QList<QMessageBox *> others = boxesOf(parent->window());
    QMessageBox *const box = makeBox(parent->window(), QMessageBox::Question, title, text);
    box->setTextFormat(Qt::PlainText);
    box->setStandardButtons(QMessageBox::Yes | QMessageBox::No);
    box->setDefaultButton(QMessageBox::No);
    QObject::connect(box, &QMessageBox::finished, parent, [accepted](int answer) {
        if (answer == QMessageBox::Yes) {
            accepted();
        }
    });
    openAfter(others, box);
}
