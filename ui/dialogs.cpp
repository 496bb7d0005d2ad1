#include "ui/dialogs.h"

#include "settings/settingsstore.h"

#include <QCoreApplication>
#include <QPointer>
#include <QQueue>
#include <QVariant>

namespace {

constexpr int mostWaiting = 20; // boxes of one window; whoever makes more tells nothing new

// The dialogs of one window, whose child it is.
class Turns : public QObject
{
public:
    static Turns &of(QWidget *window)
    {
        // Not by type: it has no meta-object of its own.
        const QString name = QStringLiteral("dialogTurns");
        QObject *found = window->findChild<QObject *>(name, Qt::FindDirectChildrenOnly);
        if (found == nullptr) {
            found = new Turns(window);
            found->setObjectName(name);
        }
        return *static_cast<Turns *>(found);
    }

    void add(QDialog *dialog)
    {
        m_waiting.enqueue(dialog);
        // Queued: whoever hears that it has finished may have more to say first.
        connect(dialog, &QDialog::finished, this, &Turns::openNext, Qt::QueuedConnection);
        connect(dialog, &QObject::destroyed, this, &Turns::openNext, Qt::QueuedConnection);
        openNext();
    }

    int waiting() const { return m_waiting.size(); }

private:
    using QObject::QObject;

    void openNext()
    {
        while (!m_waiting.isEmpty() && !(m_open && m_open->isVisible())) {
            m_open = m_waiting.dequeue();
            if (m_open) {
                m_open->open();
            }
        }
    }

    QPointer<QDialog> m_open;
    QQueue<QPointer<QDialog>> m_waiting;
};

QMessageBox *makeBox(const QWidget *parent, QMessageBox::Icon icon, const QString &title,
                     const QString &text)
{
    return new QMessageBox(icon, title, text, QMessageBox::NoButton, parent->window());
}

// Open or waiting: one that is closed and not deleted yet has no result to come.
bool isSaid(const QWidget *window, const QString &text)
{
    const auto boxes = window->findChildren<QMessageBox *>(QString(), Qt::FindDirectChildrenOnly);
    for (QMessageBox *const box : boxes) {
        if (box->text() == text && !box->property("finished").toBool()) {
            return true;
        }
    }
    return false;
}

} // namespace

void dialogs::openInTurn(QDialog *dialog)
{
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    QObject::connect(dialog, &QDialog::finished, dialog,
                     [dialog] { dialog->setProperty("finished", true); });
    Turns::of(dialog->parentWidget()).add(dialog);
}

void dialogs::tell(QWidget *parent, QMessageBox::Icon icon, const QString &title,
                   const QString &text, Qt::TextFormat format)
{
    QWidget *const window = parent->window();
    if (isSaid(window, text) || Turns::of(window).waiting() >= mostWaiting) {
        return;
    }
    QMessageBox *const box = makeBox(parent, icon, title, text);
    box->setTextFormat(format);
    box->addButton(QMessageBox::Ok);
    openInTurn(box);
}

void dialogs::tellUnsaved(QWidget *parent)
{
    tell(parent, QMessageBox::Warning, QCoreApplication::applicationName(),
         QCoreApplication::translate("dialogs", "The settings could not be saved to %1")
             .arg(presentable(SettingsStore().location())));
}

QString dialogs::presentable(const QString &text)
{
    constexpr int longest = 500;
    constexpr int longestWord = 40;
    QString shown = text.left(longest);
    int word = 0;
    for (int i = 0; i < shown.size(); ++i) {
        word = shown.at(i).isSpace() ? 0 : word + 1;
        if (word > longestWord && !shown.at(i).isLowSurrogate()) {
            shown.insert(i, QChar(0x200b)); // a blank of no width
            word = 0;
        }
    }
    return text.size() > longest ? shown + QChar(0x2026) : shown;
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
    openInTurn(box);
}
