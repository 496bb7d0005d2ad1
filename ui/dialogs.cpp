#include "ui/dialogs.h"

#include "settings/settingsstore.h"

#include <QCoreApplication>
#include <QPointer>
#include <QPushButton>
#include <QQueue>
#include <QVariant>

namespace {

constexpr int maxQueued = 20; // dialogs of one window; further messages are dropped

// The dialogs of one window, and a child of it.
class DialogQueue : public QObject
{
public:
    static DialogQueue &of(QWidget *window)
    {
        // By name: without Q_OBJECT, findChild() cannot find the class.
        const QString name = QStringLiteral("dialogQueue");
        QObject *found = window->findChild<QObject *>(name, Qt::FindDirectChildrenOnly);
        if (found == nullptr) {
            found = new DialogQueue(window);
            found->setObjectName(name);
        }
        return *static_cast<DialogQueue *>(found);
    }

    void add(QDialog *dialog)
    {
        m_queue.enqueue(dialog);
        // Queued: another slot of finished() may open a dialog first.
        connect(dialog, &QDialog::finished, this, &DialogQueue::openNext, Qt::QueuedConnection);
        connect(dialog, &QObject::destroyed, this, &DialogQueue::openNext, Qt::QueuedConnection);
        openNext();
    }

    int size() const { return m_queue.size(); }

private:
    using QObject::QObject;

    void openNext()
    {
        while (!m_queue.isEmpty() && !(m_open && m_open->isVisible())) {
            m_open = m_queue.dequeue();
            if (m_open) {
                m_open->open();
            }
        }
    }

    QPointer<QDialog> m_open;
    QQueue<QPointer<QDialog>> m_queue;
};

QMessageBox *makeBox(const QWidget *parent, QMessageBox::Icon icon, const QString &title,
                     const QString &text)
{
    return new QMessageBox(icon, title, text, QMessageBox::NoButton, parent->window());
}

// Open or queued. A box that is closed may not be deleted yet.
bool isAlreadyShown(const QWidget *window, const QString &text)
{
    const auto boxes = window->findChildren<QMessageBox *>(QString(), Qt::FindDirectChildrenOnly);
    for (QMessageBox *const box : boxes) {
        if (box->text() == text && !box->property("finished").toBool()) {
            return true;
        }
    }
    return false;
}

// A message with a button that closes it, to be queued; null when it is not to be shown.
QMessageBox *makeMessage(QWidget *parent, QMessageBox::Icon icon, const QString &title,
                         const QString &text, QMessageBox::StandardButton closing = QMessageBox::Ok)
{
    QWidget *const window = parent->window();
    if (isAlreadyShown(window, text) || DialogQueue::of(window).size() >= maxQueued) {
        return nullptr;
    }
    QMessageBox *const box = makeBox(parent, icon, title, text);
    box->setDefaultButton(box->addButton(closing));
    box->setEscapeButton(box->defaultButton());
    return box;
}

} // namespace

void dialogs::enqueue(QDialog *dialog)
{
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    QObject::connect(dialog, &QDialog::finished, dialog,
                     [dialog] { dialog->setProperty("finished", true); });
    DialogQueue::of(dialog->parentWidget()).add(dialog);
}

void dialogs::showMessage(QWidget *parent, QMessageBox::Icon icon, const QString &title,
                          const QString &text, Qt::TextFormat format)
{
    if (QMessageBox *const box = makeMessage(parent, icon, title, text)) {
        box->setTextFormat(format);
        enqueue(box);
    }
}

void dialogs::showMessageWithAction(QWidget *parent, QMessageBox::Icon icon, const QString &title,
                                    const QString &text, const QString &button,
                                    const std::function<void()> &action,
                                    QMessageBox::StandardButton closing)
{
    if (QMessageBox *const box = makeMessage(parent, icon, title, text, closing)) {
        box->setTextFormat(Qt::PlainText);
        QObject::connect(box->addButton(button, QMessageBox::ActionRole), &QPushButton::clicked,
                         parent, action);
        enqueue(box);
    }
}

void dialogs::showSaveFailed(QWidget *parent)
{
    showMessage(parent, QMessageBox::Warning, QCoreApplication::applicationName(),
                QCoreApplication::translate("dialogs", "The settings could not be saved to %1")
                    .arg(shortened(SettingsStore().location())));
}

QString dialogs::shortened(const QString &text)
{
    constexpr int maxLength = 500;
    constexpr int maxWordLength = 40;
    QString shown = text.left(maxLength);
    int word = 0;
    for (int i = 0; i < shown.size(); ++i) {
        word = shown.at(i).isSpace() ? 0 : word + 1;
        if (word > maxWordLength && !shown.at(i).isLowSurrogate()) {
            shown.insert(i, QChar(0x200b)); // zero-width space
            word = 0;
        }
    }
    return text.size() > maxLength ? shown + QChar(0x2026) : shown;
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
    enqueue(box);
}
