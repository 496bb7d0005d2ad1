#pragma once

#include <QObject>
#include <QPointer>
#include <QRandomGenerator>
#include <QStringList>

class QInputDialog;
class QWidget;

// Asks the user for a name for one thing after the other. Interface thread; one run of prompts
// at a time. Each proposes another random name.
class AliasPrompts : public QObject
{
    Q_OBJECT

public:
    // `window`: what the prompts belong to; borrowed for life.
    explicit AliasPrompts(QWidget *window);

    // Begins to ask for the things of these short ids. A run that is under way is given up.
    void ask(const QStringList &things);
    // Gives the run up without a word.
    void cancel();

signals:
    void answered(const QString &sid, const QString &alias);
    // All were answered, or the user did not want to go on.
    void ended(bool complete);

private:
    void askNext();
    QString proposal(const QString &type);

    QWidget *m_window;
    QStringList m_things; // still to be asked for
    QPointer<QInputDialog> m_prompt;
    QRandomGenerator m_random;
};
