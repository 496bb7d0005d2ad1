#pragma once

#include <QByteArray>
#include <QJsonObject>

#include <chrono>
#include <functional>

namespace httplib {
struct Response;
}

// One event of a text/event-stream. Lines end with CRLF, as the gateway's parser requires. `json`
// is compact JSON, without line ends.
QByteArray streamEvent(const char *name, const QByteArray &json);
QByteArray streamEvent(const char *name, const QJsonObject &object);

struct StreamPiece
{
    QByteArray text; // whole events, or empty
    bool last = false;
};

// How often a stream checks for the end of its reader and of the server.
constexpr std::chrono::milliseconds streamTick{250};

// Makes `response` an event stream. `next` supplies its text and waits up to streamTick for it;
// `ended` is called once, when the stream ends for any reason. Both run on the request's thread. An
// idle stream sends comments.
void startStream(httplib::Response &response, std::function<StreamPiece()> next,
                 std::function<void()> ended);
