#include "bench/bench.h"
#include "cloud/velmorcloudclient.h"
#include "settings/settingsstore.h"
#include "tests/support/fakething.h"
#include "things/gatewaything.h"

#include <QCoreApplication>
#include <QFile>
#include <QSslSocket>
#include <QTimer>

#include <ctime>
#include <iostream>

namespace {

constexpr int maxBatch = 256; // messages in one pass of the event loop

bool useCredentials(const bench::Broker &broker)
{
    QFile cert(broker.certFile);
    QFile key(broker.keyFile);
    QString error;
    return cert.open(QIODevice::ReadOnly) && key.open(QIODevice::ReadOnly) &&
           CredentialStore().storeIssuedCredentials(cert.readAll(), key.readAll(), error);
}

qint64 residentBytes()
{
    QFile file("/proc/self/statm");
    return file.open(QIODevice::ReadOnly) ? file.readAll().split(' ').value(1).toLongLong() * 4096
                                          : 0;
}

// Ends the connection and the program when no message is pending.
class Departure : public QObject
{
public:
    explicit Departure(VelmorCloudClient &client)
        : m_client(client)
    {
        connect(&m_timer, &QTimer::timeout, this, [this] {
            if (m_client.pendingCount() == 0) {
                m_timer.stop();
                m_client.stop(); // sends what the socket has buffered
                QCoreApplication::quit();
            }
        });
    }
    void begin() { m_timer.start(1); }

private:
    VelmorCloudClient &m_client;
    QTimer m_timer;
};

} // namespace

// Publishes only while nothing is pending, as mosquitto_pub waits for its own writes.
int bench::publishLines(const Broker &broker)
{
    std::ios::sync_with_stdio(false);
    VelmorCloudClient client;
    Departure departure(client);
    bool scheduled = false;
    bool ended = false;
    std::string line;
    const auto produce = [&] {
        scheduled = false;
        for (int i = 0; i < maxBatch && client.pendingCount() == 0; ++i) {
            if (!std::getline(std::cin, line)) {
                ended = true;
                departure.begin();
                return;
            }
            client.publish("bench", QByteArray(line.data(), static_cast<int>(line.size())));
        }
    };
    const auto schedule = [&] {
        if (!scheduled && !ended && client.pendingCount() == 0) {
            scheduled = true;
            QMetaObject::invokeMethod(&client, produce, Qt::QueuedConnection);
        }
    };
    QObject::connect(&client, &VelmorCloudClient::messagePublished, &client, schedule);
    QObject::connect(&client, &VelmorCloudClient::connectivityChanged, &client, [&](bool on) {
        if (on) {
            schedule();
        }
    });
    if (!useCredentials(broker) || !client.start("bench", 60, "localhost", broker.port)) {
        return 1;
    }
    return QCoreApplication::exec();
}

int bench::drainBacklog(const Broker &broker, int count)
{
    VelmorCloudClient client;
    Departure departure(client);
    const qint64 before = residentBytes();
    for (int i = 0; i < count; ++i) {
        client.publish("bench", QByteArray::number(i).leftJustified(200, ' '));
    }
    const qint64 each = (residentBytes() - before) / count;
    QObject::connect(&client, &VelmorCloudClient::connectivityChanged, &client, [&](bool on) {
        if (on) {
            departure.begin();
        }
    });
    const Stopwatch stopwatch;
    if (!useCredentials(broker) || !client.start("bench", 60, "localhost", broker.port)) {
        return 1;
    }
    const int status = QCoreApplication::exec();
    print({{"bytesEach", each}, {"seconds", stopwatch.seconds()}});
    return status;
}

int bench::changeStates(const Broker &broker, int count, int changes)
{
    {
        SettingsStore store;
        store.set(keys::CloudHost, QString("localhost"));
        store.set(keys::CloudPort, quint32(broker.port));
        store.set(keys::CloudSerial, QString("S"));
    }
    GatewayThing gateway;
    gateway.setRegid("G");
    QObject owner;
    QVector<FakeThing *> things;
    for (int i = 0; i < count; ++i) {
        auto *const thing = new FakeThing(QString::number(i), &owner);
        thing->setRegid("r");
        thing->current = {};
        gateway.addSibling(thing);
        things.append(thing);
    }
    int changed = 0;
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, &gateway, [&] {
        for (int i = 0; i < 2 && changed < changes; ++i, ++changed) {
            timespec now = {};
            clock_gettime(CLOCK_MONOTONIC, &now);
            things.at(changed % count)
                ->change({{"t", double(now.tv_sec) * 1e9 + double(now.tv_nsec)}});
        }
        if (changed == changes) {
            timer.stop();
            gateway.disconnectFromCloud();
            QCoreApplication::quit();
        }
    });
    QObject::connect(&gateway, &GatewayThing::connectivityChanged, &timer, [&](bool on) {
        if (on) {
            timer.start(1);
        }
    });
    if (!useCredentials(broker) || !gateway.connectToCloud(false)) {
        return 1;
    }
    return QCoreApplication::exec();
}
