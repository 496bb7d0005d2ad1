#include "bench/bench.h"

#include <mosquitto.h>

#include <QHash>
#include <QVector>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <thread>

using namespace std::chrono_literals;

// Counts the delivered messages and checks their order, with another client library than the
// gateway's. A payload begins with its sequence number in its topic, or is a JSON object {"t":…}
// with the monotonic time in nanoseconds at which it was made.

namespace {

constexpr int maxReconnects = 300; // it ends even when its broker never returns

struct Received
{
    mosquitto *client = nullptr;
    int wanted = 0;
    bool reconnects = false;
    int count = 0;
    long first = 0;
    long next = 0;
    QHash<QByteArray, long> nextByTopic;
    long outOfOrder = 0;
    long repeated = 0;
    QVector<double> latencies; // seconds
};

void onMessage(mosquitto * /*client*/, void *context, const mosquitto_message *message)
{
    auto &received = *static_cast<Received *>(context);
    const QByteArray payload(static_cast<const char *>(message->payload), message->payloadlen);
    if (payload.startsWith("{\"count\"")) {
        return; // the gateway's own state
    }
    if (payload.isEmpty()) {
        received.reconnects = false;
        mosquitto_disconnect(received.client);
        return;
    }
    if (payload.startsWith("{\"t\":")) {
        received.latencies.append(
            (bench::monotonic() - std::strtod(payload.constData() + 5, nullptr)) / 1e9);
    } else {
        const long place = std::strtol(payload.constData(), nullptr, 10);
        if (received.count == 0) {
            received.first = place;
        }
        const auto known = received.nextByTopic.find(message->topic);
        const long next = known == received.nextByTopic.end() ? place : *known;
        received.outOfOrder += place == next ? 0 : 1;
        received.repeated += place < next ? 1 : 0;
        received.next = std::max(next, place + 1);
        received.nextByTopic[message->topic] = received.next;
    }
    if (++received.count == received.wanted) {
        mosquitto_disconnect(received.client);
    }
}

void onConnect(mosquitto *client, void * /*context*/, int /*reason*/)
{
    mosquitto_subscribe(client, nullptr, "things/+/state", 0);
}

void onSubscribe(mosquitto * /*client*/, void * /*context*/, int /*id*/, int /*count*/,
                 const int * /*granted*/)
{
    bench::print({{"subscribed", true}});
}

// The broker has ended.
void onDisconnect(mosquitto *client, void *context, int /*reason*/)
{
    if (!static_cast<Received *>(context)->reconnects) {
        mosquitto_disconnect(client); // instead of connecting again
    }
}

} // namespace

int bench::subscribe(const Broker &broker, int count, bool reconnects)
{
    mosquitto_lib_init();
    Received received;
    received.wanted = count;
    received.reconnects = reconnects;
    received.client = mosquitto_new(nullptr, true, &received);
    mosquitto_tls_set(received.client, broker.caFile.toLocal8Bit().constData(), nullptr,
                      broker.certFile.toLocal8Bit().constData(),
                      broker.keyFile.toLocal8Bit().constData(), nullptr);
    mosquitto_message_callback_set(received.client, onMessage);
    mosquitto_connect_callback_set(received.client, onConnect);
    mosquitto_subscribe_callback_set(received.client, onSubscribe);
    mosquitto_disconnect_callback_set(received.client, onDisconnect);
    if (mosquitto_connect(received.client, "localhost", broker.port, 60) != MOSQ_ERR_SUCCESS) {
        return 1;
    }
    mosquitto_loop_forever(received.client, -1, 1);
    // libmosquitto gives up at an end without the close of TLS.
    for (int i = 0; received.reconnects && i < maxReconnects; ++i) {
        std::this_thread::sleep_for(100ms);
        mosquitto_reconnect(received.client);
        mosquitto_loop_forever(received.client, -1, 1);
    }
    QJsonObject result = {{"count", received.count},
                          {"first", qint64(received.first)},
                          {"next", qint64(received.next)},
                          {"outOfOrder", qint64(received.outOfOrder)},
                          {"repeated", qint64(received.repeated)}};
    if (!received.latencies.isEmpty()) {
        std::sort(received.latencies.begin(), received.latencies.end());
        const int size = received.latencies.size();
        result["median"] = received.latencies.at(size / 2);
        result["p99"] = received.latencies.at(size * 99 / 100);
        result["longest"] = received.latencies.last();
    }
    print(result);
    mosquitto_destroy(received.client);
    mosquitto_lib_cleanup();
    return reconnects || received.count == count ? 0 : 1;
}
