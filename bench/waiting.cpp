// What waits in the outbox: how fast it is filled and drained, and what it costs.

#include "bench/bench.h"
#include "cloud/velmorcloudclient.h"

#include <QCoreApplication>
#include <QFile>
#include <QTimer>
#include <QVector>

#include <algorithm>
#include <ctime>

using namespace std::chrono_literals;

namespace {

constexpr int maxBatch = 256;           // messages between two passes of the event loop
constexpr int statesEachSecond = 10000; // of the steady load
constexpr auto lastUpdates = 500ms;     // the outbox gives its space back when it becomes empty

QByteArray payload(int number)
{
    return QByteArray::number(number).leftJustified(200, ' ');
}

// "VmRSS" or "VmHWM" (the peak), in MB.
double memory(const char *field)
{
    QFile file("/proc/self/status");
    const QByteArray text = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    const QByteArray line = text.mid(text.indexOf(field)).left(40).simplified();
    return line.split(' ').value(1).toDouble() / 1024;
}

} // namespace

int bench::fillOutbox(int count)
{
    VelmorCloudClient client;
    const double idle = memory("VmRSS");
    const Stopwatch stopwatch;
    for (int i = 0; i < count; ++i) {
        client.publish("bench", payload(i));
        if (i % maxBatch == 0) {
            QCoreApplication::processEvents(); // the outbox writes once a second, too
        }
    }
    client.outbox().flush();
    print({{"seconds", stopwatch.seconds()},
           {"waiting", client.pendingCount()},
           {"idle", idle},
           {"peak", memory("VmHWM")}});
    return 0;
}

int bench::drainOutbox(const Broker &broker)
{
    const Stopwatch stopwatch;
    VelmorCloudClient client;
    QJsonObject result = {{"constructed", stopwatch.seconds()}};
    client.subscribe("bench");
    QVector<double> answers; // seconds
    QObject::connect(&client, &VelmorCloudClient::messageReceived, &client,
                     [&](const QString & /*tid*/, const QByteArray &sent) {
                         answers.append((monotonic() - sent.toDouble()) / 1e9);
                     });
    QObject::connect(&client, &VelmorCloudClient::connectivityChanged, &client, [&](bool on) {
        if (on) {
            result["connected"] = stopwatch.seconds();
            result["idle"] = memory("VmRSS");
            quitWhenSent(client, lastUpdates);
        }
    });
    if (!useCredentials(broker) || !client.start("bench", 60, "localhost", broker.port)) {
        return 1;
    }
    const int status = QCoreApplication::exec();
    std::sort(answers.begin(), answers.end());
    result["updates"] = answers.size();
    result["median"] = answers.value(answers.size() / 2);
    result["worst"] = answers.value(answers.size() - 1);
    result["peak"] = memory("VmHWM");
    print(result);
    return status;
}

int bench::publishSteadily(const Broker &broker, int seconds)
{
    VelmorCloudClient client;
    if (broker.port != 0 &&
        (!useCredentials(broker) || !client.start("bench", 60, "localhost", broker.port))) {
        return 1;
    }
    const std::clock_t before = std::clock();
    const Stopwatch stopwatch;
    int published = 0;
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, &client, [&] {
        const double elapsed = std::min(stopwatch.seconds(), double(seconds));
        while (published < int(elapsed * statesEachSecond)) {
            client.publish("bench", payload(published++));
        }
        if (elapsed >= seconds) {
            QCoreApplication::quit();
        }
    });
    timer.start(10ms);
    const int status = QCoreApplication::exec();
    const double share = double(std::clock() - before) / CLOCKS_PER_SEC / stopwatch.seconds();
    client.stop(); // what the broker has not confirmed waits again
    print({{"published", published}, {"waiting", client.pendingCount()}, {"share", share}});
    return status;
}
