#pragma once

#include <QTableView>

class DeviceListModel;

// The table of the state page: sorting by a click on a header (up, down, not at all), columns that
// can be dragged and are stored, renaming and copying by the keyboard, a context menu. Interface
// thread.
class DeviceTable : public QTableView
{
    Q_OBJECT

public:
    // `model` is borrowed for life.
    explicit DeviceTable(DeviceListModel &model, QWidget *parent = nullptr);

    // Those that the user has dragged.
    void storeColumns() const;
    // Short ids of the selected rows, from top to bottom; that of the current row.
    QStringList selected() const;
    QString current() const;
    // Selects the rows of these devices, as far as they are shown.
    void select(const QStringList &shortids, const QString &current);
    // Widens the columns to what their rows hold, until the user has dragged one.
    void fitColumns();
    // In which the states can be read, beside the other columns; 0 once the user has dragged one.
    int usefulWidth() const;
    using QTableView::edit; // the override below would hide it

signals:
    void currentChangedTo(const QString &shortid); // empty: none
    void menuRequested(const QPoint &global);

protected:
    bool edit(const QModelIndex &index, EditTrigger trigger, QEvent *event) override;
    QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
    void keyPressEvent(QKeyEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void currentChanged(const QModelIndex &current, const QModelIndex &previous) override;

protected slots:
    void rowsAboutToBeRemoved(const QModelIndex &parent, int start, int end) override;

private:
    void copySelected() const;
    void sortBy(int column);
    void restoreColumns();

    DeviceListModel &m_model;
    int m_sortedColumn = -1;
    bool m_wasDescending = false;
    bool m_isFitted = false;
    bool m_isFitting = false;
    bool m_isDragged = false;
    QStringList m_selectedBeforeReset;
    QString m_currentBeforeReset;
};
