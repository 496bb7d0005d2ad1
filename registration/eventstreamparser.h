#pragma once

#include <QByteArray>
#include <QString>
#include <QStringView>
#include <QTextDecoder>

#include <memory>

// Splits the bytes of a text/event-stream into events. One thread at a time.
//
// The format is that of the HTML standard (9.2.6, "Interpreting an event stream") with
// differences that registrars rely on:
// - A line feed after any line end is part of that line end: two bare line feeds are one line end
//   and do not end the event. This look-ahead ends with the bytes of one feed().
// - Names and values are trimmed at both ends, so a line of white space ends the event as well.
// - An empty "id" is ignored, and "retry" is only stored.
class EventStreamParser
{
public:
    // Maximum lengths in UTF-16 units. The defaults are far above a "result" event with credentials
    // and thousands of devices.
    struct Limits
    {
        int line = 1024 * 1024;
        int event = 16 * 1024 * 1024; // all "data" lines of an event
    };
    struct Event
    {
        QString type;
        QString data;
        QString id;
    };
    enum class Step { NeedsMore, HasEvent, TooLong };

    EventStreamParser();

    // Begins a new stream; keeps the limits.
    void reset();
    void setLimits(const Limits &limits);
    // Appends received bytes, up to the first NUL. A character may be split over two calls.
    void feed(const QByteArray &bytes);
    // Parses up to the end of the next event. After TooLong, only reset() may be called.
    [[nodiscard]] Step next(Event &event);
    // Reconnection time in milliseconds, from the last "retry" field.
    int retry() const;

private:
    bool parseLine(QStringView line, Event &event);

    Limits m_limits;
    std::unique_ptr<QTextDecoder> m_decoder;
    bool m_hasBegun = false;
    QString m_text; // decoded, parsed up to m_position
    int m_position = 0;
    QString m_line; // an incomplete line
    QString m_type;
    QString m_data;
    QString m_id;
    int m_retry = 0;
    bool m_tooLong = false;
};
