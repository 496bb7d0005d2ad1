// Many gateways in one process, each with a client, certificate, key and outbox of its own.
// A line "RATE COUNT" on the standard input lets them publish that many states, RATE a second in
// all; with the rate 0 as fast as the connections take them.

#include "bench/bench.h"
#include "cloud/velmorcloudclient.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QLoggingCategory>
#include <QSocketNotifier>
#include <QTimer>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <utility>
#include <vector>

namespace {

constexpr int maxBatch = 16; // messages of one gateway in one pass

class Fleet
{
public:
    // `broker`: "%1" in the paths stands for the id of a gateway.
    Fleet(bench::Broker broker, int size)
        : m_broker(std::move(broker))
        , m_dataFolder(qgetenv("XDG_DATA_HOME"))
    {
        for (int i = 0; i < size; ++i) {
            m_gateways.push_back({QString::number(i)});
        }
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { publishDue(); });
    }

    bool start()
    {
        for (Gateway &gateway : m_gateways) {
            useFolderOf(gateway);
            gateway.client = new VelmorCloudClient;
            gateway.client->subscribe(gateway.id);
            QObject::connect(gateway.client, &VelmorCloudClient::connectivityChanged, &m_timer,
                             [this, &gateway] { linkChanged(gateway); });
            if (!bench::useCredentials({m_broker.port, m_broker.caFile,
                                        m_broker.certFile.arg(gateway.id),
                                        m_broker.keyFile.arg(gateway.id)})) {
                return false;
            }
        }
        bench::print({{"made", int(m_gateways.size())}});
        return std::all_of(m_gateways.begin(), m_gateways.end(), [this](const Gateway &gateway) {
            useFolderOf(gateway);
            return gateway.client->start(gateway.id, 120, "localhost", m_broker.port);
        });
    }

    void publish(int rate, int count)
    {
        m_rate = rate;
        m_count = count;
        m_published = 0;
        m_stopwatch = {};
        m_timer.start(rate > 0 ? 10 : 0);
    }

private:
    struct Gateway
    {
        QString id;
        VelmorCloudClient *client = nullptr; // lives as long as the process
        double connectedAt = 0;              // seconds of monotonic(); 0 while it is not connected
        int published = 0;
    };

    // Outbox and CredentialStore ask for it when a client is made and started, and never later.
    void useFolderOf(const Gateway &gateway) const
    {
        qputenv("XDG_DATA_HOME", m_dataFolder + '/' + gateway.id.toLatin1());
    }

    void linkChanged(Gateway &changed)
    {
        changed.connectedAt = changed.client->isConnected() ? bench::monotonic() / 1e9 : 0;
        QJsonArray times;
        for (const Gateway &gateway : m_gateways) {
            if (gateway.connectedAt == 0) {
                return;
            }
            times.append(gateway.connectedAt);
        }
        bench::print({{"connectedAt", times}});
    }

    void publishDue()
    {
        const bool unlimited = m_rate == 0;
        const int batch = unlimited ? maxBatch : 1;
        const double elapsed = m_stopwatch.seconds();
        const int due = unlimited ? m_count : int(std::min(elapsed * m_rate, double(m_count)));
        const auto turns = unlimited ? m_gateways.size() : std::size_t(due - m_published);
        for (std::size_t turn = 0; turn < turns; ++turn) {
            Gateway &gateway = m_gateways[m_next++ % m_gateways.size()];
            for (int i = 0; i < batch && m_published < due; ++i) {
                if (unlimited && !gateway.client->sendsAtOnce()) {
                    break;
                }
                gateway.client->publish(
                    gateway.id, QByteArray::number(gateway.published++).leftJustified(200, ' '));
                ++m_published;
            }
        }
        if (m_published == m_count) {
            m_timer.stop();
            bench::print({{"published", m_published}});
        }
    }

    const bench::Broker m_broker;
    const QByteArray m_dataFolder;
    std::vector<Gateway> m_gateways;
    QTimer m_timer;
    bench::Stopwatch m_stopwatch;
    int m_rate = 0;
    int m_count = 0;
    int m_published = 0; // of m_count
    std::size_t m_next = 0;
};

} // namespace

int bench::runFleet(const Broker &broker, int size)
{
    QLoggingCategory::setFilterRules("kvg.*=false"); // the same lines from each gateway
    Fleet fleet(broker, size);
    QSocketNotifier input(0, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &input, [&fleet] {
        int rate = 0;
        int count = 0;
        if (!(std::cin >> rate >> count)) {
            std::_Exit(0); // a thousand clients would be stopped one after the other
        }
        fleet.publish(rate, count);
    });
    return fleet.start() ? QCoreApplication::exec() : 1;
}
