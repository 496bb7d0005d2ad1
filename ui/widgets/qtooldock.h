#pragma once

#include <QHash>
#include <QWidget>

class QBoxLayout;
class QToolButton;

// A bar of buttons that floats over a side of its parent, in the middle of that side, and
// follows the parent's size. Interface thread; belongs to the parent.
// QWidget::addAction() adds a button that is bound to the action: icon, tooltip, text for screen
// readers, checked, enabled and visible follow it. Actions are not owned; one that is removed or
// deleted takes its button along. Icons are those of QMaterialIcon in Base and Checked: the bar
// chooses its ground to suit them when it is made.
class QToolDock : public QWidget
{
    Q_OBJECT

public:
    enum Side { Left, Right, Bottom };
    Q_ENUM(Side)

    // `parent` must not be null, and stays the parent.
    QToolDock(QWidget *parent, Side side);

    // Pixels of the parent that the bar needs at its side, the gaps on both sides of it
    // included: leave so much free there, and nothing is covered.
    int extent() const;

    bool eventFilter(QObject *watched, QEvent *event) override;

signals:
    // A button was pressed by mouse or keyboard; its action has been triggered. The index is that
    // of the action in the order of adding, and the button's property "iaction".
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
    void follow(QAction *action);
    void place();

    Side m_side;
    QBoxLayout *m_layout;
    QHash<QAction *, QToolButton *> m_buttons;
    int m_nextIndex = 0;
    int m_extent = 0;
};
