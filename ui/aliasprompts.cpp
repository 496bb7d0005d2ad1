#include "ui/aliasprompts.h"

#include "ui/aliasrule.h"
#include "ui/dialogs.h"

#include <QDialogButtonBox>
#include <QInputDialog>
#include <QLineEdit>
#include <QPushButton>

namespace {

void disableOkForEmptyAlias(QInputDialog *prompt)
{
    auto *const buttons = prompt->findChild<QDialogButtonBox *>();
    if (buttons == nullptr) {
        return;
    }
    QPushButton *const ok = buttons->button(QDialogButtonBox::Ok);
    QObject::connect(prompt, &QInputDialog::textValueChanged, ok,
                     [ok](const QString &text) { ok->setDisabled(cleanAlias(text).isEmpty()); });
}

} // namespace

AliasPrompts::AliasPrompts(QWidget *window)
    : QObject(window)
    , m_window(window)
{
}

void AliasPrompts::ask(const QStringList &things, const QHash<QString, QString> &proposals)
{
    cancel();
    m_remaining = things;
    m_proposals = proposals;
    askNext();
}

void AliasPrompts::cancel()
{
    m_remaining.clear();
    if (m_prompt) {
        m_prompt->disconnect(this);
        m_prompt->close();
        m_prompt.clear();
    }
}

void AliasPrompts::askNext()
{
    if (m_remaining.isEmpty()) {
        emit ended(true);
        return;
    }
    const QString thing = m_remaining.takeFirst();
    const QString type = typeOfShortId(thing);
    m_prompt = new QInputDialog(m_window->window());
    m_prompt->setWindowTitle(tr("Thing Name"));
    m_prompt->setLabelText(
        tr("Please fill the alias for<br><b>%1 / %2</b><br>Note: the alias must be unique among "
           "all the devices registered to your account.")
            .arg(type.toHtmlEscaped(), serialOfShortId(thing).toHtmlEscaped()));
    m_prompt->setTextValue(m_proposals.value(thing, randomAlias(type)));
    disableOkForEmptyAlias(m_prompt);
    connect(m_prompt, &QInputDialog::finished, this, [this, thing](int result) {
        const QString alias = cleanAlias(m_prompt->textValue());
        m_prompt.clear(); // it deletes itself
        if (result != QDialog::Accepted || alias.isEmpty()) {
            m_remaining.clear();
            emit ended(false);
            return;
        }
        emit answered(thing, alias);
        askNext();
    });
    if (auto *const editor = m_prompt->findChild<QLineEdit *>()) {
        editor->selectAll();
    }
    dialogs::enqueue(m_prompt);
}
