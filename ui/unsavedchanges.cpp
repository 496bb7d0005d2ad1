#include "ui/unsavedchanges.h"

#include "ui/dialogs.h"

#include <QMetaMethod>
#include <QMetaProperty>

UnsavedChanges::UnsavedChanges(QWidget *page)
    : QObject(page)
{
}

void UnsavedChanges::watch(const QVector<QWidget *> &editors)
{
    for (QWidget *const editor : qAsConst(m_editors)) {
        editor->disconnect(this);
    }
    m_editors = editors;
    const QMetaMethod slot = metaObject()->method(metaObject()->indexOfSlot("update()"));
    for (QWidget *const editor : qAsConst(m_editors)) {
        connect(editor, editor->metaObject()->userProperty().notifySignal(), this, slot);
    }
    markStored();
}

void UnsavedChanges::markStored()
{
    m_stored = shown();
    update();
}

void UnsavedChanges::reload(const std::function<void()> &load)
{
    const QVariantList before = m_stored;
    const QVariantList edited = shown();
    load();
    for (int i = 0; i < m_editors.size(); ++i) {
        if (edited[i] != before[i]) {
            m_editors[i]->metaObject()->userProperty().write(m_editors[i], edited[i]);
        }
    }
}

QVariantList UnsavedChanges::shown() const
{
    QVariantList values;
    for (const QWidget *const editor : m_editors) {
        values.append(editor->metaObject()->userProperty().read(editor));
    }
    return values;
}

void UnsavedChanges::update()
{
    m_exist = shown() != m_stored;
    emit existChanged(m_exist);
}

void UnsavedChanges::askBeforeLeaving(QWidget *page, const std::function<void()> &leave)
{
    auto *const changes = page->findChild<UnsavedChanges *>(QString(), Qt::FindDirectChildrenOnly);
    if (changes != nullptr && changes->exist()) {
        changes->ask(leave);
    } else {
        leave();
    }
}

void UnsavedChanges::ask(const std::function<void()> &leave)
{
    if (m_question) {
        return;
    }
    auto *const page = static_cast<QWidget *>(parent());
    m_question = new QMessageBox(QMessageBox::Question, tr("Unsaved Changes"),
                                 tr("The changes on this page are not saved. Save them?"),
                                 QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel,
                                 page->window());
    m_question->setDefaultButton(QMessageBox::Save);
    connect(m_question, &QMessageBox::finished, this, [this, leave](int answer) {
        m_question.clear(); // it deletes itself
        if (answer == QMessageBox::Save) {
            emit saveRequested();
        } else if (answer == QMessageBox::Discard) {
            emit discardRequested();
        }
        if (!m_exist) {
            leave();
        }
    });
    dialogs::enqueue(m_question);
}
