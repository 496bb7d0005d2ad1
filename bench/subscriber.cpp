#include "bench/bench.h"

#include <mosquitto.h>

#include <QVector>

#include <algorithm>
#include <cstdlib>

// Counts the delivered messages and checks their order, with another client library than the
// gateway's. A payload begins with its sequence number, or is a JSON object {"t":…} with the
// monotonic time in nanoseconds at which it was made.

namespace {

struct Received
{
    mosquitto *client = nullptr;
    int wanted = 0;
    int count = 0;
    long first = 0;
    long expected = 0;
    long outOfOrder = 0;
    QVector<double> latencies; // seconds
};

void onMessage(mosquitto * /*client*/, void *context, const mosquitto_message *message)
{
    auto &received = *static_cast<Received *>(context);
    const QByteArray payload(static_cast<const char *>(message->payload), message->payloadlen);
    if (payload.startsWith("{\"count\"")) {
        return; // the gateway's own state
    }
    if (payload.startsWith("{\"t\":")) {
        received.latencies.append(
            (bench::monotonic() - std::strtod(payload.constData() + 5, nullptr)) / 1e9);
    } else {
        const long place = std::strtol(payload.constData(), nullptr, 10);
        if (received.count == 0) {
            received.first = received.expected = place;
        }
        received.outOfOrder += place == received.expected ? 0 : 1;
        received.expected = place + 1;
    }
    if (++received.count == received.wanted) {
        mosquitto_disconnect(received.client);
    }
}

void onSubscribe(mosquitto * /*client*/, void * /*context*/, int /*id*/, int /*count*/,
                 const int * /*granted*/)
{
    bench::print({{"subscribed", true}});
}

// The broker has ended.
void onDisconnect(mosquitto *client, void * /*context*/, int /*reason*/)
{
    mosquitto_disconnect(client); // instead of connecting again
}

} // namespace

int bench::subscribe(const Broker &broker, int count)
{
    mosquitto_lib_init();
    Received received;
    received.wanted = count;
    received.client = mosquitto_new(nullptr, true, &received);
    mosquitto_tls_set(received.client, broker.caFile.toLocal8Bit().constData(), nullptr,
                      broker.certFile.toLocal8Bit().constData(),
                      broker.keyFile.toLocal8Bit().constData(), nullptr);
    mosquitto_message_callback_set(received.client, onMessage);
    mosquitto_subscribe_callback_set(received.client, onSubscribe);
    mosquitto_disconnect_callback_set(received.client, onDisconnect);
    if (mosquitto_connect(received.client, "localhost", broker.port, 60) != MOSQ_ERR_SUCCESS) {
        return 1;
    }
    mosquitto_subscribe(received.client, nullptr, "things/+/state", 0);
    mosquitto_loop_forever(received.client, -1, 1);
    QJsonObject result = {{"count", received.count},
                          {"first", qint64(received.first)},
                          {"next", qint64(received.expected)},
                          {"outOfOrder", qint64(received.outOfOrder)}};
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
    return received.count == count ? 0 : 1;
}
