#include "plot/historyplot.h"

#include <QDateTime>
#include <QLocale>
#include <QMouseEvent>
#include <QPainter>
#include <QRubberBand>
#include <QStringList>

#include <qwt_date_scale_draw.h>
#include <qwt_date_scale_engine.h>
#include <qwt_legend.h>
#include <qwt_picker_machine.h>
#include <qwt_plot_canvas.h>
#include <qwt_plot_grid.h>
#include <qwt_plot_layout.h>
#include <qwt_plot_picker.h>
#include <qwt_plot_renderer.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

constexpr double wheelZoom = 1.25; // for each notch
constexpr double keyStep = 0.1;    // of the range
constexpr int maxStrips = 12;      // of switches, below other curves
constexpr int pictureScale = 2;
constexpr int trackerGap = 8; // pixels
constexpr int minDrag = 4;    // pixels; a shorter one is a click

QwtText plain(const QString &text)
{
    return {text, QwtText::PlainText};
}

// Times in the user's format, and the date at midnight.
class TimeScale : public QwtDateScaleDraw
{
public:
    QwtText label(double value) const override
    {
        const QDateTime time = toDateTime(value);
        if (time.time() == QTime(0, 0)) {
            return plain(QLocale().toString(time.date(), QStringLiteral("d MMM")));
        }
        QString format = QLocale().timeFormat(QLocale::ShortFormat).remove(QLatin1String(":ss"));
        if (time.time().second() != 0) {
            format.replace(QLatin1String("mm"), QLatin1String("mm:ss"));
        }
        return plain(QLocale().toString(time.time(), format));
    }
};

QString moment(double time)
{
    return QLocale().toString(QDateTime::fromMSecsSinceEpoch(qint64(time)), QLocale::ShortFormat);
}

} // namespace

// A line below the cursor, and at the top the values there, each with a patch of its curve's
// colour.
class HistoryPlot::Tracker : public QwtPlotPicker
{
public:
    explicit Tracker(HistoryPlot *plot)
        : QwtPlotPicker(xBottom, yLeft, VLineRubberBand, AlwaysOn, plot->canvas())
        , m_plot(plot)
    {
        setStateMachine(new QwtPickerTrackerMachine);
    }

    QRect trackerRect(const QFont &font) const override
    {
        const int x = trackerPosition().x();
        if (x < 0) {
            return {}; // the cursor is elsewhere
        }
        const QSize size =
            trackerText({x, 0}).textSize(font).toSize() + QSize(2 * trackerGap, trackerGap);
        const bool fits = x + trackerGap + size.width() < m_plot->canvas()->width();
        const int left = fits ? x + trackerGap : qMax(0, x - trackerGap - size.width());
        return {QPoint(left, trackerGap), size};
    }

protected:
    QwtText trackerText(const QPoint &at) const override
    {
        const double time = m_plot->timeAt(at.x());
        QStringList lines(moment(time));
        for (const HistoryCurve *const curve : m_plot->m_curves) {
            lines += QStringLiteral("     %1: %2").arg(curve->title().text(), curve->textAt(time));
        }
        QwtText text = plain(lines.join('\n'));
        text.setRenderFlags(Qt::AlignLeft | Qt::AlignTop);
        return text;
    }

    void drawTracker(QPainter *painter) const override
    {
        const QRect place = trackerRect(trackerFont());
        if (place.isEmpty()) {
            return;
        }
        painter->setPen(m_plot->palette().color(QPalette::Mid));
        painter->setBrush(m_plot->palette().base());
        painter->drawRect(place.adjusted(0, 0, -1, -1));
        const QPoint inner = place.topLeft() + QPoint(trackerGap, trackerGap / 2);
        const int line = QFontMetrics(trackerFont()).lineSpacing();
        for (int i = 0; i < m_plot->m_curves.size(); ++i) {
            painter->fillRect(inner.x(), inner.y() + line * (i + 1) + line / 4, line / 2, line / 2,
                              m_plot->m_curves[i]->color());
        }
        painter->setPen(trackerPen());
        trackerText(trackerPosition()).draw(painter, QRect(inner, place.size()));
    }

private:
    HistoryPlot *const m_plot;
};

HistoryPlot::HistoryPlot(QWidget *parent)
    : QwtPlot(parent)
    , m_band(new QRubberBand(QRubberBand::Rectangle, canvas()))
    , m_grid(new QwtPlotGrid)
    , m_tracker(new Tracker(this))
{
    setFocusPolicy(Qt::StrongFocus);
    canvas()->setFocusPolicy(Qt::NoFocus);
    canvas()->setCursor(Qt::CrossCursor);
    canvas()->installEventFilter(this);
    static_cast<QwtPlotCanvas *>(canvas())->setFrameStyle(QFrame::NoFrame);
    setAxisScaleEngine(xBottom, new QwtDateScaleEngine(Qt::LocalTime));
    setAxisScaleDraw(xBottom, new TimeScale);
    plotLayout()->setAlignCanvasToScales(true);
    m_grid->attach(this);
    applyPalette();
}

void HistoryPlot::showCurves(const QVector<HistoryCurve *> &curves)
{
    detachItems(QwtPlotItem::Rtti_PlotCurve, true);
    m_curves = curves;
    QStringList units;
    int switches = 0;
    for (const HistoryCurve *const curve : curves) {
        switches += curve->isSwitch() ? 1 : 0;
        if (!curve->isSwitch() && !units.contains(curve->unit())) {
            units.append(curve->unit());
        }
    }
    const double strip = 1.0 / (units.isEmpty() ? qMax(1, switches) : maxStrips);
    int strips = 0;
    for (HistoryCurve *const curve : curves) {
        const int unit = units.indexOf(curve->unit());
        if (curve->isSwitch()) {
            curve->useOwnScale(strip * (strips + 0.2), strip * (strips + 0.8));
            ++strips;
        } else if (unit < 2) {
            curve->setYAxis(unit == 0 ? yLeft : yRight);
        } else {
            curve->useOwnScale(0.05, 0.95);
        }
        curve->attach(this);
    }
    enableAxis(yLeft, !units.isEmpty());
    enableAxis(yRight, units.size() > 1);
    setAxisTitle(yLeft, plain(units.value(0)));
    setAxisTitle(yRight, plain(units.value(1)));
    replot();
}

void HistoryPlot::showRange(qint64 from, qint64 to)
{
    m_from = double(from);
    m_to = double(to);
    setAxisScale(xBottom, m_from, m_to);
    setAxisTitle(xBottom, plain(QStringLiteral(u"%1 \u2013 %2").arg(moment(m_from), moment(m_to))));
    replot();
}

QImage HistoryPlot::picture(const QString &heading)
{
    setTitle(plain(heading));
    insertLegend(new QwtLegend, BottomLegend);
    QImage image(size() * pictureScale, QImage::Format_RGB32);
    image.fill(palette().color(QPalette::Window));
    QPainter painter(&image);
    painter.scale(pictureScale, pictureScale);
    QwtPlotRenderer().render(this, &painter, QRectF(QPointF(), size()));
    insertLegend(nullptr);
    setTitle(QwtText());
    return image;
}

bool HistoryPlot::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == canvas()) {
        switch (event->type()) {
        case QEvent::MouseButtonPress:
            press(*static_cast<QMouseEvent *>(event));
            break;
        case QEvent::MouseMove:
            drag(static_cast<QMouseEvent *>(event)->x());
            break;
        case QEvent::MouseButtonRelease:
            release(static_cast<QMouseEvent *>(event)->x());
            break;
        case QEvent::Wheel: {
            const auto *const wheel = static_cast<QWheelEvent *>(event);
            // 120 for each notch; some wheels send many notches at once.
            const int turned = qBound(-1200, wheel->angleDelta().y(), 1200);
            if (turned != 0) {
                zoom(std::pow(wheelZoom, -turned / 120.0), timeAt(wheel->position().toPoint().x()));
            }
            return true;
        }
        default:
            break;
        }
    }
    return QwtPlot::eventFilter(watched, event);
}

void HistoryPlot::press(const QMouseEvent &event)
{
    setFocus(Qt::MouseFocusReason);
    m_pressedAt = event.x();
    if (event.button() == Qt::MiddleButton ||
        (event.button() == Qt::LeftButton && (event.modifiers() & Qt::ShiftModifier) != 0)) {
        m_drag = Moving;
        canvas()->setCursor(Qt::ClosedHandCursor);
    } else if (event.button() == Qt::LeftButton) {
        m_drag = Zooming;
    }
}

void HistoryPlot::drag(int x)
{
    if (m_drag == Moving) {
        const double by = timeAt(m_pressedAt) - timeAt(x);
        m_pressedAt = x;
        showRange(qint64(m_from + by), qint64(m_to + by));
    } else if (m_drag == Zooming) {
        m_band->setGeometry(
            QRect(QPoint(m_pressedAt, 0), QPoint(x, canvas()->height())).normalized());
        m_band->show();
    }
}

void HistoryPlot::release(int x)
{
    const Drag drag = std::exchange(m_drag, NoDrag);
    m_band->hide();
    canvas()->setCursor(Qt::CrossCursor);
    if (drag == Moving) {
        emit rangeRequested(qint64(m_from), qint64(m_to));
    } else if (drag == Zooming && qAbs(x - m_pressedAt) >= minDrag) {
        const auto [left, right] = std::minmax(x, m_pressedAt);
        emit rangeRequested(qint64(timeAt(left)), qint64(timeAt(right)));
    }
}

void HistoryPlot::zoom(double factor, double around)
{
    emit rangeRequested(qint64(around - (around - m_from) * factor),
                        qint64(around + (m_to - around) * factor));
}

void HistoryPlot::keyPressEvent(QKeyEvent *event)
{
    const double step = (m_to - m_from) * keyStep;
    switch (event->key()) {
    case Qt::Key_Left:
        emit rangeRequested(qint64(m_from - step), qint64(m_to - step));
        break;
    case Qt::Key_Right:
        emit rangeRequested(qint64(m_from + step), qint64(m_to + step));
        break;
    case Qt::Key_Plus:
    case Qt::Key_Equal: // plus without Shift
        zoom(1 / wheelZoom, (m_from + m_to) / 2);
        break;
    case Qt::Key_Minus:
        zoom(wheelZoom, (m_from + m_to) / 2);
        break;
    default:
        QwtPlot::keyPressEvent(event);
    }
}

void HistoryPlot::resizeEvent(QResizeEvent *event)
{
    QwtPlot::resizeEvent(event);
    setAxisMaxMajor(xBottom, qMax(2, width() / (fontMetrics().averageCharWidth() * 12)));
}

void HistoryPlot::changeEvent(QEvent *event)
{
    QwtPlot::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        applyPalette();
    }
}

void HistoryPlot::applyPalette()
{
    setCanvasBackground(palette().base());
    QColor line = palette().color(QPalette::Text);
    line.setAlpha(40);
    m_grid->setPen(line, 0);
    m_tracker->setTrackerPen(palette().color(QPalette::Text));
    m_tracker->setRubberBandPen(palette().color(QPalette::Text));
}
