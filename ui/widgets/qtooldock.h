#pragma once

#include <QHash>
#include <QWidget>

class QBoxLayout;
class QToolButton;

// A bar of buttons that floats over the middle of one side of its parent and follows the parent's
// size: the buttons have words under their icons where the parent is large enough. Interface
// thread. QWidget::addAction() adds a button that is bound to the action: icon, tooltip, text for
// screen readers, checked, enabled and visible follow it. Actions are not owned; removing or
// deleting one deletes its button. Icons are those of QMaterialIcon in Base and Checked: the
// constructor chooses a background on which they are legible.
class QToolDock : public QWidget
{
    Q_OBJECT

public:
    enum Side { Left, Right, Bottom };
    Q_ENUM(Side)

    // `parent` must not be null, and stays the parent.
    QToolDock(QWidget *parent, Side side);

    // Pixels to leave free at this side of the parent, so that the bar covers nothing.
    int extent() const;

    bool eventFilter(QObject *watched, QEvent *event) override;

signals:
    // A button was clicked and its action has been triggered. The index counts the actions in the
    // order of adding; it is the button's property "iaction".
    void action_triggered(int index);
    // Follows action_triggered().
    void clicked();
    void extentChanged(int extent);

protected:
    bool event(QEvent *event) override;
    void actionEvent(QActionEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void addButton(QAction *action);
    void updateButton(QAction *action);
    bool fitsWords(const QSize &space);
    void reposition();

    Side m_side;
    QBoxLayout *m_layout;
    QHash<QAction *, QToolButton *> m_buttons;
    int m_nextIndex = 0;
    int m_extent = 0;
    bool m_hasWords = false;
    QSize m_sizeWithWords; // invalid until measured
};
