#pragma once

#include "plot/historycurve.h"

#include <QVector>

#include <qwt_plot.h>

class QRubberBand;
class QwtPlotGrid;

// Curves over a time axis. Shows a range and asks for others; all times are milliseconds since
// 1970. Drag: zoom; wheel: zoom around the cursor; Shift or the middle button and drag: move;
// arrows, plus and minus: the same with the keyboard.
class HistoryPlot : public QwtPlot
{
    Q_OBJECT

public:
    explicit HistoryPlot(QWidget *parent);

    // Takes ownership, and deletes those that are shown. The left axis is for the first unit, the
    // right one for the second; curves of further units get a scale of their own, and switches a
    // strip each.
    void showCurves(const QVector<HistoryCurve *> &curves);
    void showRange(qint64 from, qint64 to);
    bool isDragged() const { return m_drag != NoDrag; }
    // With title and legend, at twice the size on the screen.
    QImage picture(const QString &heading);

    bool eventFilter(QObject *watched, QEvent *event) override;

signals:
    void rangeRequested(qint64 from, qint64 to);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    enum Drag { NoDrag, Zooming, Moving };
    class Tracker;
    void press(const QMouseEvent &event);
    void drag(int x); // on the canvas
    void release(int x);
    // `around` stays where it is on the canvas.
    void zoom(double factor, double around);
    void applyPalette();
    double timeAt(int x) const { return invTransform(xBottom, x); }

    QRubberBand *m_band;
    QwtPlotGrid *m_grid;
    Tracker *m_tracker;
    QVector<HistoryCurve *> m_curves;
    Drag m_drag = NoDrag;
    int m_pressedAt = 0; // x on the canvas
    double m_from = 0;
    double m_to = 1;
};
