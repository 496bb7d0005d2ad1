#include "plot/historycurve.h"

#include <QCoreApplication>
#include <QLocale>
#include <QPainter>

#include <qwt_scale_map.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr int paleness = 60; // alpha
constexpr double lineWidth = 1.5;

QString number(double value)
{
    const double size = std::abs(value);
    return size < 1e6 || size >= 1e15 ? QLocale().toString(value, 'g', 6)
                                      : QLocale().toString(value, 'f', 0);
}

// Something is known of the stretch that begins there; merged points may end without a value.
bool isKnown(const HistoryPoint &point)
{
    return std::isfinite(point.min) && std::isfinite(point.max);
}

double valueOf(const HistoryPoint &point)
{
    return std::isfinite(point.last) ? point.last : point.max;
}

} // namespace

HistoryCurve::HistoryCurve(const QString &title, const QString &unit, const QColor &color,
                           const HistoryPoints &points)
    : QwtPlotCurve(QwtText(title, QwtText::PlainText))
    , m_unit(unit)
    , m_color(color)
    , m_points(points)
    , m_switch(unit.isEmpty())
{
    setStyle(Steps);
    setCurveAttribute(Inverted); // the value before a step, not the one behind it, holds until then
    setPen(color, lineWidth);
    setLegendAttribute(LegendShowLine);
    QVector<QPointF> samples;
    samples.reserve(points.size());
    double min = std::numeric_limits<double>::infinity();
    double max = -min;
    const HistoryPoint *former = nullptr;
    for (const HistoryPoint &point : m_points) {
        const auto time = double(point.time);
        if (isKnown(point)) {
            const double value = valueOf(point);
            samples.append({time, value});
            min = std::min({min, point.min, value});
            max = std::max({max, point.max, value});
            m_switch = m_switch && (value == 0 || value == 1);
        } else if (former != nullptr && isKnown(*former)) {
            samples.append({time, valueOf(*former)}); // it held until here
            samples.append({time, std::numeric_limits<double>::quiet_NaN()});
        }
        former = &point;
    }
    m_switch = m_switch && min >= 0 && max <= 1;
    if (min <= max) {
        const auto begin = double(m_points.first().time);
        m_bounds = QRectF(begin, min, double(m_points.last().time) - begin, max - min);
    }
    if (m_switch) {
        QColor pale = color;
        pale.setAlpha(paleness);
        setBrush(pale);
    }
    setSamples(samples);
}

void HistoryCurve::useOwnScale(double bottom, double top)
{
    setItemAttribute(AutoScale, false);
    m_bottom = bottom;
    m_top = top;
}

QString HistoryCurve::textAt(double time) const
{
    const auto next =
        std::upper_bound(m_points.begin(), m_points.end(), time,
                         [](double at, const HistoryPoint &point) { return at < point.time; });
    if (next == m_points.begin() || next == m_points.end() || !isKnown(*std::prev(next))) {
        return QCoreApplication::translate("HistoryCurve", "not known");
    }
    const HistoryPoint &point = *std::prev(next);
    QString text = number(valueOf(point));
    if (point.min < point.max) {
        text += QStringLiteral(" (%1 ... %2)").arg(number(point.min), number(point.max));
    }
    return m_unit.isEmpty() ? text : text + ' ' + m_unit;
}

void HistoryCurve::drawSeries(QPainter *painter, const QwtScaleMap &xMap, const QwtScaleMap &yMap,
                              const QRectF &canvas, int /*from*/, int /*to*/) const
{
    QwtScaleMap map = yMap;
    if (hasOwnScale()) {
        const double min = m_switch ? 0 : m_bounds.top();
        const double height = m_switch || m_bounds.height() == 0 ? 1 : m_bounds.height();
        map.setScaleInterval(min - height * m_bottom / (m_top - m_bottom),
                             min + height * (1 - m_bottom) / (m_top - m_bottom));
    }
    QColor pale = m_color;
    pale.setAlpha(paleness);
    for (int i = 0; i + 1 < m_points.size(); ++i) {
        const HistoryPoint &point = m_points[i];
        if (isKnown(point) && point.min < point.max) {
            const QRectF band(
                QPointF(xMap.transform(double(point.time)), map.transform(point.max)),
                QPointF(xMap.transform(double(m_points[i + 1].time)), map.transform(point.min)));
            painter->fillRect(band & canvas, pale);
        }
    }
    const int count = int(dataSize());
    for (int begin = 0, end = 0; begin < count; begin = end + 1) {
        for (end = begin; end < count && !std::isnan(sample(end).y()); ++end) {
        }
        if (begin < end) {
            QwtPlotCurve::drawSeries(painter, xMap, map, canvas, begin, end - 1);
        }
    }
}
