#pragma once

#include <QByteArray>
#include <QJsonObject>

#include <chrono>
#include <functional>

namespace httplib {
struct Response;
}

// One event of a text/event-stream. CRLF, since the gateway's parser swallows a blank line that
// is written as two bare line feeds. `json` is compact JSON, which holds no line ends.
QByteArray streamEvent(const char *name, const QByteArray &json);
QByteArray streamEvent(const char *name, const QJsonObject &object);

struct StreamPiece
{
    QByteArray text; // whole events; empty: nothing to say now
    bool last = false;
};

// The longest that a stream's source may wait: so often the stream looks whether its reader has
// gone and whether the server ends.
constexpr std::chrono::milliseconds streamTick{250};

// Makes `response` an event stream fed by `next`, which waits up to streamTick for something to
// say. Both functions run on the request's thread; `ended` runs once the stream is over, for
// whatever reason. Comments are sent while there is nothing else to say.
void startStream(httplib::Response &response, std::function<StreamPiece()> next,
                 std::function<void()> ended);
