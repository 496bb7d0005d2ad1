#include "tools/sandbox/brokerwatch.h"

#include "tools/sandbox/eventstream.h"
#include "tools/sandbox/log.h"

#include <QFile>
#include <QJsonDocument>

#include <mosquitto.h>

namespace {
constexpr int maxStateSize = 256 << 10;
const QString topicPrefix = QStringLiteral("things/");
const QString stateSuffix = QStringLiteral("/state");
const QString updateSuffix = QStringLiteral("/update");
} // namespace

BrokerWatch::BrokerWatch(Fleet &fleet, EventHub &hub)
    : m_fleet(fleet)
    , m_hub(hub)
{
    mosquitto_lib_init();
    m_client = mosquitto_new("kvg-sandbox-watch", true, this);
    mosquitto_connect_callback_set(m_client, [](mosquitto *, void *self, int code) {
        static_cast<BrokerWatch *>(self)->subscribe(code);
    });
    mosquitto_disconnect_callback_set(m_client, [](mosquitto *, void *self, int) {
        static_cast<BrokerWatch *>(self)->setReady(false);
    });
    mosquitto_subscribe_callback_set(m_client, [](mosquitto *, void *self, int, int, const int *) {
        static_cast<BrokerWatch *>(self)->setReady(true);
    });
    mosquitto_message_callback_set(m_client,
                                   [](mosquitto *, void *self, const mosquitto_message *message) {
                                       static_cast<BrokerWatch *>(self)->handleMessage(*message);
                                   });
    mosquitto_threaded_set(m_client, true);
}

BrokerWatch::~BrokerWatch()
{
    stop();
    mosquitto_destroy(m_client);
    mosquitto_lib_cleanup();
}

bool BrokerWatch::start(const Endpoint &endpoint, QString &error)
{
    int result = mosquitto_tls_set(m_client, QFile::encodeName(endpoint.authority).constData(),
                                   nullptr, QFile::encodeName(endpoint.certificate).constData(),
                                   QFile::encodeName(endpoint.key).constData(), nullptr);
    if (result == MOSQ_ERR_SUCCESS) {
        result = mosquitto_connect(m_client, "127.0.0.1", endpoint.port, 60);
    }
    if (result != MOSQ_ERR_SUCCESS) {
        error = QStringLiteral("Cannot connect to the broker: %1")
                    .arg(QString::fromLatin1(mosquitto_strerror(result)));
        return false;
    }
    m_thread = std::thread([this] { run(); });
    std::unique_lock lock(m_mutex);
    if (!m_changed.wait_for(lock, std::chrono::seconds(10), [this] { return m_ready; })) {
        error = QStringLiteral("Cannot subscribe at the broker: it does not answer");
        return false;
    }
    return true;
}

void BrokerWatch::stop()
{
    if (!m_thread.joinable()) {
        return;
    }
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
        m_changed.notify_all();
    }
    mosquitto_disconnect(m_client);
    m_thread.join();
}

// Not mosquitto_loop_start(): its thread ends when a TLS connection breaks, as when the broker is
// killed.
void BrokerWatch::run()
{
    constexpr auto pause = std::chrono::milliseconds(500);
    const auto isStopping = [this] { return m_stopping; };
    while (true) {
        const bool isConnected =
            mosquitto_loop(m_client, static_cast<int>(pause.count()), 1) == MOSQ_ERR_SUCCESS;
        std::unique_lock lock(m_mutex);
        if (isConnected ? m_stopping : m_changed.wait_for(lock, pause, isStopping)) {
            return;
        }
        if (!isConnected) {
            m_ready = false;
            lock.unlock();
            mosquitto_reconnect(m_client);
        }
    }
}

bool BrokerWatch::send(const QString &id, const QByteArray &update)
{
    {
        const std::lock_guard lock(m_mutex);
        if (!m_ready) {
            return false;
        }
    }
    const QByteArray topic = (topicPrefix + id + updateSuffix).toUtf8();
    return mosquitto_publish(m_client, nullptr, topic.constData(), update.size(),
                             update.constData(), 0, false) == MOSQ_ERR_SUCCESS;
}

void BrokerWatch::subscribe(int code)
{
    // A single-level wildcard would miss ids that hold a slash.
    if (code != 0 || mosquitto_subscribe(m_client, nullptr, "things/#", 0) != MOSQ_ERR_SUCCESS) {
        qCWarning(lcSandbox) << "The broker refused the sandbox's own client, CONNACK code" << code;
    }
}

void BrokerWatch::setReady(bool on)
{
    const std::lock_guard lock(m_mutex);
    m_ready = on;
    m_changed.notify_all();
}

void BrokerWatch::handleMessage(const mosquitto_message &message)
{
    const QString topic = QString::fromUtf8(message.topic);
    if (!topic.startsWith(topicPrefix) || !topic.endsWith(stateSuffix) ||
        topic.size() <= topicPrefix.size() + stateSuffix.size()) {
        return; // an update, for instance
    }
    const QString id =
        topic.mid(topicPrefix.size(), topic.size() - topicPrefix.size() - stateSuffix.size());
    if (message.payloadlen <= 0 || message.payloadlen > maxStateSize) {
        qCWarning(lcSandbox) << "Dropped a state of" << message.payloadlen << "bytes, the limit is"
                             << maxStateSize;
        return;
    }
    const QJsonDocument state = QJsonDocument::fromJson(
        QByteArray::fromRawData(static_cast<const char *>(message.payload), message.payloadlen));
    if (!state.isObject()) {
        qCWarning(lcSandbox) << "Dropped a state that is no JSON object";
        return;
    }
    if (const auto description = m_fleet.recordState(id, state.object())) {
        m_hub.post(streamEvent("thing", *description));
    }
}
