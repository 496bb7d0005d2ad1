#pragma once

#include "history/historysource.h"

#include <QColor>

#include <qwt_plot_curve.h>

// A member over time: a step holds until the next one, nothing is drawn where nothing is known, and
// a pale band goes from minimum to maximum where points were merged.
class HistoryCurve : public QwtPlotCurve
{
public:
    HistoryCurve(const QString &title, const QString &unit, const QColor &color,
                 const HistoryPoints &points);

    QString unit() const { return m_unit; }
    QColor color() const { return m_color; }
    // Every value is 0 or 1, and there is no unit.
    bool isSwitch() const { return m_switch; }
    // The part of the canvas that its values take, from 0 at the bottom to 1, whatever the axis
    // shows.
    void useOwnScale(double bottom, double top);
    bool hasOwnScale() const { return m_bottom < m_top; }
    // The value at a time (milliseconds since 1970) with its unit; where points were merged, also
    // its extremes.
    QString textAt(double time) const;

    QRectF boundingRect() const override { return m_bounds; }
    void drawSeries(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap,
                    const QRectF &canvas, int from, int to) const override;

private:
    const QString m_unit;
    const QColor m_color;
    const HistoryPoints m_points;
    QRectF m_bounds = QRectF(0, 0, -1, -1); // invalid: no values
    bool m_switch;
    double m_bottom = 0;
    double m_top = 0;
};
