#include "bench/bench.h"
#include "cloud/velmorcloudclient.h"
#include "settings/settingsstore.h"
#include "tests/support/fakething.h"
#include "things/gatewaything.h"

#include <QCoreApplication>
#include <QFile>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QTimer>

#include <array>
#include <cstdio>
#include <ctime>
#include <iostream>

namespace {

constexpr int maxBatch = 256;            // messages in one pass of the event loop
constexpr std::size_t maxRecord = 16384; // bytes, of TLS

} // namespace

bool bench::useCredentials(const Broker &broker)
{
    QFile cert(broker.certFile);
    QFile key(broker.keyFile);
    QString error;
    return cert.open(QIODevice::ReadOnly) && key.open(QIODevice::ReadOnly) &&
           CredentialStore().storeIssuedCredentials(cert.readAll(), key.readAll(), error);
}

void bench::quitWhenSent(VelmorCloudClient &client, std::chrono::milliseconds delay)
{
    auto *const timer = new QTimer(&client);
    QObject::connect(timer, &QTimer::timeout, &client, [&client, timer, delay] {
        if (client.pendingCount() == 0) {
            timer->stop();
            QTimer::singleShot(delay, &client, [&client] {
                client.stop(); // sends what the socket has buffered
                QCoreApplication::quit();
            });
        }
    });
    timer->start(1);
}

double bench::monotonic()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return double(now.tv_sec) * 1e9 + double(now.tv_nsec);
}

// Publishes only what goes out at once, as mosquitto_pub waits for its own writes.
int bench::publishLines(const Broker &broker)
{
    std::ios::sync_with_stdio(false);
    VelmorCloudClient client;
    bool scheduled = false;
    bool ended = false;
    std::string line;
    const auto produce = [&] {
        scheduled = false;
        for (int i = 0; i < maxBatch && !ended && client.sendsAtOnce(); ++i) {
            if (!std::getline(std::cin, line)) {
                ended = true;
                quitWhenSent(client);
                break;
            }
            client.publish("bench", QByteArray(line.data(), static_cast<int>(line.size())));
        }
    };
    const auto schedule = [&] {
        if (!scheduled && !ended && client.sendsAtOnce()) {
            scheduled = true;
            QMetaObject::invokeMethod(&client, produce, Qt::QueuedConnection);
        }
    };
    QObject::connect(&client, &VelmorCloudClient::messagePublished, &client, schedule);
    QObject::connect(&client.outbox(), &Outbox::changed, &client, schedule);
    QObject::connect(&client, &VelmorCloudClient::connectivityChanged, &client, [&](bool on) {
        if (on) { // subscribed only after this signal
            QMetaObject::invokeMethod(&client, schedule, Qt::QueuedConnection);
        }
    });
    if (!useCredentials(broker) || !client.start("bench", 60, "localhost", broker.port)) {
        return 1;
    }
    return QCoreApplication::exec();
}

// The least that sending over TLS costs: whole records, and nothing but the socket.
int bench::streamInput(const Broker &broker)
{
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    tls.setCaCertificates(QSslCertificate::fromPath(broker.caFile));
    QSslSocket socket;
    socket.setSslConfiguration(tls);
    socket.connectToHostEncrypted("localhost", broker.port);
    if (!socket.waitForEncrypted()) {
        return 1;
    }
    std::array<char, maxRecord> piece = {};
    while (const std::size_t size = std::fread(piece.data(), 1, piece.size(), stdin)) {
        socket.write(piece.data(), static_cast<qint64>(size));
        if (!socket.waitForBytesWritten()) {
            return 1;
        }
    }
    socket.disconnectFromHost();
    return socket.state() == QAbstractSocket::UnconnectedState || socket.waitForDisconnected() ? 0
                                                                                               : 1;
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
            things.at(changed % count)->change({{"t", monotonic()}});
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
