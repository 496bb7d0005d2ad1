#pragma once

#include "things/thingstate.h"
#include "ui/devicewords.h"

#include <QHash>
#include <QTimer>
#include <QWidget>

class History;
class QLabel;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;

// What is known of one device: its words, identifier and registration, and its state as a tree of
// members with their values; a small curve shows what each number was lately. Interface thread.
class DevicePane : public QWidget
{
    Q_OBJECT

public:
    // Both are borrowed for life.
    DevicePane(const DeviceWords &words, const History &history, QWidget *parent = nullptr);

    // Empty until the first device.
    void showNothing();
    // `changed`: milliseconds since 1970; 0: unknown. Members that changed since the last call for
    // the same device are marked for a moment.
    void showThing(const ThingState &thing, qint64 changed);
    void updateWords();

signals:
    void closeRequested();
    // `member`: the one that was asked for; empty: the user asked for the device.
    void plotRequested(const QString &device, const QString &member);

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    // Parent and name: two members may have the same path, "a.b" and "b" in "a".
    using Place = QPair<QTreeWidgetItem *, QString>;

    void showState(QTreeWidgetItem *parent, const QString &path, const QJsonObject &state,
                   QHash<Place, QTreeWidgetItem *> &gone);
    void showValue(QTreeWidgetItem *item, const QString &path, const QJsonValue &value);
    void showAge();
    void fadeMarks();

    const DeviceWords &m_words;
    const History &m_history;
    ThingState m_thing;
    qint64 m_changed = 0;
    bool m_isFirst = false; // nothing of this device was shown yet, so nothing is a change
    QLabel *m_hint;
    QWidget *m_content;
    QLabel *m_name;
    QLabel *m_kind;
    QLabel *m_id;
    QLabel *m_registration;
    QLabel *m_age;
    QTreeWidget *m_tree;
    QPushButton *m_plotButton;
    QHash<Place, QTreeWidgetItem *> m_items;
    QHash<QTreeWidgetItem *, qint64> m_marks; // until when, milliseconds since 1970
    QTimer m_clock;
};
