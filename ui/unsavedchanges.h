#pragma once

#include <QObject>
#include <QPointer>
#include <QVariant>
#include <QVector>
#include <QWidget>

#include <functional>

class QMessageBox;

// Whether the editors of a page show something else than what is stored. A direct child of the
// page. Interface thread.
class UnsavedChanges : public QObject
{
    Q_OBJECT

public:
    explicit UnsavedChanges(QWidget *page);

    // The page's editors, instead of former ones, and what they show as what is stored. Borrowed
    // until the next call. Each has a user property with a change signal.
    void watch(const QVector<QWidget *> &editors);
    // From now on, what the editors show is what is stored.
    void markStored();
    // Calls `load`, which shows what is stored now, and shows the changes of the user again.
    void reload(const std::function<void()> &load);
    bool exist() const { return m_exist; }

    // Calls `leave` unless `page` has unsaved changes. Else asks the user first, at most once at a
    // time, and calls it when the changes are saved or discarded.
    static void askBeforeLeaving(QWidget *page, const std::function<void()> &leave);

signals:
    void existChanged(bool exist);
    // The user's answer. The page calls markStored() or watch() if it succeeds.
    void saveRequested();
    void discardRequested();

private slots:
    void update();

private:
    void ask(const std::function<void()> &leave);
    QVariantList shown() const;

    QVector<QWidget *> m_editors;
    QVariantList m_stored; // the value of each editor
    bool m_exist = false;
    QPointer<QMessageBox> m_question;
};
