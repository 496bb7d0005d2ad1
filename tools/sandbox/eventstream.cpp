#include "tools/sandbox/eventstream.h"

#include <QJsonDocument>

#include <httplib.h>

namespace {
// Proxies and browsers give up a silent stream after half a minute.
constexpr std::chrono::seconds heartbeat{10};
} // namespace

QByteArray streamEvent(const char *name, const QByteArray &json)
{
    return QByteArray("event: ") + name + "\r\ndata: " + json + "\r\n\r\n";
}

QByteArray streamEvent(const char *name, const QJsonObject &object)
{
    return streamEvent(name, QJsonDocument(object).toJson(QJsonDocument::Compact));
}

void startStream(httplib::Response &response, std::function<StreamPiece()> next,
                 std::function<void()> ended)
{
    using Clock = std::chrono::steady_clock;
    response.set_header("Cache-Control", "no-store");
    response.set_chunked_content_provider(
        "text/event-stream",
        [next = std::move(next), lastSent = Clock::now()](size_t, httplib::DataSink &sink) mutable {
            StreamPiece piece = next();
            // The library checks this only before it writes.
            if (!sink.is_writable()) {
                return false;
            }
            if (piece.text.isEmpty() && !piece.last && Clock::now() - lastSent >= heartbeat) {
                piece.text = ":\r\n";
            }
            if (!piece.text.isEmpty()) {
                lastSent = Clock::now();
                if (!sink.write(piece.text.constData(), static_cast<size_t>(piece.text.size()))) {
                    return false;
                }
            }
            if (piece.last) {
                sink.done();
            }
            return true;
        },
        [ended = std::move(ended)](bool) { ended(); });
}
