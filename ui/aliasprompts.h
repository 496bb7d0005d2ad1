#pragma once

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QStringList>

class QInputDialog;
class QWidget;

// Asks the user for the aliases of several things, one prompt after the other, each with a
// proposal. Interface thread.
class AliasPrompts : public QObject
{
    Q_OBJECT

public:
    // `window`: its top-level window is the prompts' parent; borrowed for life.
    explicit AliasPrompts(QWidget *window);

    // Asks for the things with these short ids, instead of those that remain from the last call.
    // `proposals`: short id to alias; random where there is none.
    void ask(const QStringList &things, const QHash<QString, QString> &proposals);
    // Closes the prompt and emits nothing.
    void cancel();

signals:
    void answered(const QString &sid, const QString &alias);
    // False when the user cancelled a prompt: the other things are not asked for.
    void ended(bool complete);

private:
    void askNext();

    QWidget *m_window;
    QStringList m_remaining;
    QHash<QString, QString> m_proposals;
    QPointer<QInputDialog> m_prompt;
};
