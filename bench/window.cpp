// The benchmarks that need a display: the table of states under load, and a minimal program in the
// tray, to compare the gateway's memory with.

#include "runner/metatypes.h"
#include "things/thingstate.h"
#include "ui/statepage.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QLabel>
#include <QSystemTrayIcon>
#include <QTimer>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <thread>

using namespace std::chrono_literals;

namespace {

constexpr int rows = 10000;
constexpr int updatesEachSecond = 10000;
constexpr int warmUp = 1; // seconds
constexpr int measured = 10;

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

int fillTable()
{
    StatePage page;
    page.resize(960, 600);
    ThingStateList things;
    for (int row = 0; row < rows; ++row) {
        things.append(record(row, 0));
    }
    page.showThings(things);
    page.show();

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
                             {"longest", static_cast<double>(longest) / 1e9}};
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
    return app.arguments().value(1) == QLatin1String("table") ? fillTable() : idle();
}
