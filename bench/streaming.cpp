#include "bench/bench.h"
#include "registration/eventstreamparser.h"

namespace {

constexpr int chunk = 1024;

QJsonObject feed(const QByteArray &text, qint64 total)
{
    EventStreamParser parser;
    EventStreamParser::Limits limits;
    limits.line = limits.event = 64 * 1024 * 1024; // parseLine() feeds one long line
    parser.setLimits(limits);
    EventStreamParser::Event event;
    qint64 events = 0;
    qint64 characters = 0;
    const bench::Stopwatch stopwatch;
    for (qint64 fed = 0; fed < total; fed += chunk) {
        parser.feed(text.mid(static_cast<int>(fed % text.size()), chunk));
        while (parser.next(event) == EventStreamParser::Step::HasEvent) {
            ++events;
            characters += event.data.size();
        }
    }
    return {{"seconds", stopwatch.seconds()}, {"events", events}, {"characters", characters}};
}

} // namespace

int bench::parseStream(int megabytes)
{
    // Repeated, so its length is a multiple of the chunk.
    QByteArray text;
    while (text.size() < 1024 * chunk) {
        text +=
            "event: code\r\ndata: {\"value\":123456,\"code\":\"123456\",\"timeout\":300}\r\n\r\n";
    }
    text.truncate(1024 * chunk - 2);
    text += "\r\n";
    print(feed(text, qint64(megabytes) * 1024 * 1024));
    return 0;
}

int bench::parseLine(int kilobytes)
{
    QByteArray text = "data: " + QByteArray(kilobytes * 1024 - 10, 'x') + "\r\n\r\n";
    print(feed(text, text.size()));
    return 0;
}
