// The benchmarks that need a display: the table of states under load, a plot of a month, and a
// minimal program in the tray, to compare the gateway's memory with.

#include "history/history.h"
#include "plot/plotlibrary.h"
#include "runner/metatypes.h"
#include "things/thingstate.h"
#include "ui/devicewindows.h"
#include "ui/plotwindows.h"
#include "ui/statepage.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QLabel>
#include <QLineEdit>
#include <QSystemTrayIcon>
#include <QTemporaryDir>
#include <QTimer>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <functional>
#include <thread>

using namespace std::chrono_literals;

namespace {

constexpr int rows = 10000;
constexpr int updatesEachSecond = 10000;
constexpr int warmUp = 1; // seconds
constexpr int measured = 10;
constexpr int minutes = 30 * 24 * 60;

QString shortid(int row)
{
    return QStringLiteral("lamp_1_%1").arg(row, 5, 10, QLatin1Char('0'));
}

ThingState record(int row, int brightness)
{
    ThingState thing;
    thing.shortid = shortid(row);
    thing.alias = QStringLiteral("Lamp %1").arg(row);
    thing.regid = QStringLiteral("r");
    thing.state = {{"on", true}, {"brightness", brightness}, {"color", "#ffffff"}};
    return thing;
}

// Sends updates from another thread, as the runner does.
void sendUpdates(StatePage &page, std::atomic<int> &received, const std::atomic<bool> &stop)
{
    QElapsedTimer clock;
    clock.start();
    qint64 sent = 0;
    while (!stop) {
        const qint64 due = clock.nsecsElapsed() * updatesEachSecond / 1000000000;
        for (; sent < due; ++sent) {
            const auto show =
                [&page, &received,
                 thing = record(static_cast<int>(sent % rows), static_cast<int>(sent / rows))] {
                    ++received;
                    page.showThing(thing);
                };
            QMetaObject::invokeMethod(&page, show, Qt::QueuedConnection);
        }
        std::this_thread::sleep_for(500us);
    }
}

double threadSeconds()
{
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

double seconds(const std::function<void()> &work)
{
    QElapsedTimer clock;
    clock.start();
    work();
    QCoreApplication::processEvents(); // what it changed is painted
    return static_cast<double>(clock.nsecsElapsed()) / 1e9;
}

// `order`: "sorted" by the states, "filtered" by a text that half of them contain, or neither.
int fillTable(const QString &order)
{
    QTemporaryDir folder;
    History history(folder.filePath("history.db"));
    DeviceWindows windows;
    StatePage page(history, windows);
    page.resize(960, 600);
    ThingStateList things;
    for (int row = 0; row < rows; ++row) {
        things.append(record(row, 0));
    }
    page.showThings(things);
    page.show();
    QCoreApplication::processEvents();
    auto *const table = page.findChild<QAbstractItemView *>("things");
    auto *const list = table->model();
    table->setCurrentIndex(list->index(0, 0)); // shown in the pane
    auto *const filter = page.findChild<QLineEdit *>("deviceFilter");
    double slowest = 0;
    if (order == QLatin1String("sorted")) {
        for (int column = 0; column < list->columnCount(); ++column) {
            slowest = qMax(slowest, seconds([&] { list->sort(column); }));
        }
        list->sort(3);
    } else if (order == QLatin1String("filtered")) {
        for (const char *const text : {"l", "la", "lam", "lam9", "7", "5"}) {
            slowest = qMax(slowest, seconds([&] { filter->setText(text); }));
        }
    }

    std::atomic<int> received = 0;
    std::atomic<bool> stop = false;
    std::thread source([&] { sendUpdates(page, received, stop); });

    // A gap of more than 2 ms means that something blocked the event loop.
    QTimer beat;
    QElapsedTimer sinceBeat;
    qint64 longest = 0; // nanoseconds
    QObject::connect(&beat, &QTimer::timeout, &beat, [&] {
        longest = qMax(longest, sinceBeat.nsecsElapsed());
        sinceBeat.start();
    });
    double processor = 0;
    QTimer::singleShot(std::chrono::seconds(warmUp), &beat, [&] {
        processor = threadSeconds();
        received = 0;
        longest = 0;
        sinceBeat.start();
        beat.setTimerType(Qt::PreciseTimer);
        beat.start(2ms);
    });
    QTimer::singleShot(std::chrono::seconds(warmUp + measured), &beat, [&] {
        processor = threadSeconds() - processor;
        QCoreApplication::quit();
    });
    QCoreApplication::exec();
    const int counted = received;
    stop = true;
    source.join();
    const QJsonObject result{{"updates", counted / measured},
                             {"share", processor / measured},
                             {"slowest", slowest},
                             {"longest", static_cast<double>(longest) / 1e9}};
    std::printf("%s\n", QJsonDocument(result).toJson(QJsonDocument::Compact).constData());
    return 0;
}

// As many points as a month has minutes, whatever range and number is asked for.
class Month : public HistorySource
{
public:
    void members(const QString & /*device*/, QObject * /*context*/,
                 const std::function<void(const QVector<QString> &)> & /*ready*/) override
    {
    }
    void fetch(const QVector<HistoryMember> & /*members*/, qint64 from, qint64 to,
               int /*maxPoints*/, QObject *context,
               const std::function<void(const QVector<HistoryPoints> &)> &ready) override
    {
        HistoryPoints points;
        for (int minute = 0; minute <= minutes; ++minute) {
            const double value = 20 + 5 * std::sin(minute / 229.0) + minute % 7;
            points.append({from + (to - from) * minute / minutes, value - 1, value + 1, value});
        }
        QTimer::singleShot(0, context, [this, ready, points] {
            m_drawing.start();
            ready({points});
        });
    }
    void exportCsv(const QString & /*file*/, const QVector<HistoryMember> & /*members*/,
                   qint64 /*from*/, qint64 /*to*/, QObject * /*context*/,
                   const std::function<void(const QString &)> & /*done*/) override
    {
    }
    const QElapsedTimer &drawing() const { return m_drawing; }

private:
    QElapsedTimer m_drawing; // since the points were there
};

// Ends the event loop after the first paint event with points.
class PaintWatch : public QObject
{
public:
    explicit PaintWatch(const Month &month)
        : m_month(month)
    {
    }
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint && m_month.drawing().isValid() && !m_painted &&
            watched->inherits("QwtPlotCanvas")) {
            m_painted = true;
            QTimer::singleShot(0, qApp, &QCoreApplication::quit);
        }
        return false;
    }

private:
    const Month &m_month;
    bool m_painted = false;
};

int plot()
{
    PlotWindows windows(QCoreApplication::applicationDirPath());
    QJsonObject result;
    QWidget parent;
    for (const char *const run : {"first", "second"}) {
        Month month;
        PaintWatch watch(month);
        qApp->installEventFilter(&watch);
        QElapsedTimer opening;
        opening.start();
        windows.open(month, {QLatin1String(run), "Lamp", {{"t", "Temperature", "K", true}}},
                     &parent);
        QCoreApplication::exec();
        result[QLatin1String(run)] = static_cast<double>(opening.nsecsElapsed()) / 1e9;
        result[run + QLatin1String("Drawing")] =
            static_cast<double>(month.drawing().nsecsElapsed()) / 1e9;
        delete parent.findChild<QWidget *>();
    }
    std::printf("%s\n", QJsonDocument(result).toJson(QJsonDocument::Compact).constData());
    return 0;
}

int idle()
{
    QApplication::setQuitOnLastWindowClosed(false);
    QLabel window(QStringLiteral("idle"));
    window.show();
    QPixmap picture(32, 32);
    picture.fill(Qt::blue);
    QSystemTrayIcon icon(picture);
    icon.show();
    QTimer::singleShot(500ms, &window, [&window] {
        window.hide();
        std::fprintf(stderr, "Ready\n");
    });
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    registerMetaTypes();
    QApplication app(argc, argv);
    QCoreApplication::setOrganizationName("Corvalt");
    QCoreApplication::setApplicationName("KVG-Gate");
    const QString load = app.arguments().value(1);
    return load == QLatin1String("table")  ? fillTable(app.arguments().value(2))
           : load == QLatin1String("plot") ? plot()
                                           : idle();
}
