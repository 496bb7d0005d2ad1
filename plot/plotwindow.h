#pragma once

#include "history/historysource.h"
#include "plot/plotlibrary.h"

#include <QElapsedTimer>
#include <QTimer>
#include <QVector>
#include <QWidget>

#include <functional>

class HistoryPlot;
class QLabel;
class QPushButton;
class QTreeWidget;

// The history of a device: its members to choose from, their plot, ranges, and files of both.
// Deletes itself when it is closed. Interface thread.
class PlotWindow : public QWidget
{
    Q_OBJECT

public:
    // `history` is borrowed and must outlive the window.
    PlotWindow(HistorySource &history, const PlotSubject &subject, QWidget *parent);

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    struct Range
    {
        qint64 from; // milliseconds since 1970
        qint64 to;
        bool live; // ends now, and moves on
    };
    struct Row // of the list
    {
        PlotMember member;
        int color = -1; // -1: not shown
        HistoryPoints points = {};
    };
    void addMember(PlotMember member);
    void check(int row, bool shown);
    void requestRange(qint64 from, qint64 to);
    void showSpan(qint64 span);
    void setRange(Range range);
    void goBack();
    void fetch();
    void redraw();
    void savePicture();
    void exportCsv(const QVector<HistoryMember> &members, const Range &range, const QString &name);
    void chooseFile(const QString &title, const QString &name, const QString &suffix,
                    const QString &filter, const std::function<void(const QString &)> &chosen);
    void showError(const QString &text);
    QVector<HistoryMember> members(bool onlyShown) const;

    HistorySource &m_history;
    const PlotSubject m_subject;
    QTreeWidget *m_list;
    QLabel *m_notice;
    HistoryPlot *m_plot;
    QPushButton *m_back;
    QPushButton *m_export;
    QVector<QPushButton *> m_spanButtons;
    QVector<Row> m_rows;
    Range m_range = {0, 0, false};
    QVector<Range> m_formerRanges;
    QElapsedTimer m_sinceRequest;
    QTimer m_clock;
    bool m_fetching = false;
    bool m_fetchAgain = false;
};
