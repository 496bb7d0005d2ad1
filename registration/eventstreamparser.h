#pragma once

#include <QByteArray>
#include <QString>
#include <QStringView>
#include <QTextDecoder>

#include <memory>

// Cuts the bytes of a text/event-stream into events. One thread at a time; knows no network.
//
// The format is that of the HTML standard (9.2.6, "Interpreting an event stream") with
// differences that registrars rely on:
// - A line feed after any line end belongs to it, so a blank line written as two bare line
//   feeds is swallowed and does not end the event. The look-ahead stops at the end of a piece.
// - Names and values lose white space at both ends, so a line of blanks ends the event as well.
// - An empty "id" is ignored, and "retry" is only remembered.
class EventStreamParser
{
public:
    // Lengths in characters (UTF-16 units). The defaults leave a result with credentials and
    // thousands of devices ample room.
    struct Limits
    {
        int line = 1024 * 1024;
        int event = 16 * 1024 * 1024; // the gathered "data" lines
    };
    struct Event
    {
        QString type;
        QString data;
        QString id;
    };
    enum class Step { NeedsMore, HasEvent, TooLong };

    EventStreamParser();

    // Back to the beginning of a stream; the limits stay.
    void reset();
    void setLimits(const Limits &limits);
    // Adds what arrived in one piece, up to its first NUL byte. A character may be split over
    // two pieces. What next() has not consumed yet stays in front of it.
    void feed(const QByteArray &piece);
    // Goes on to the next event. Holds no reference to anything when it returns, so the caller
    // may reset() or destroy the parser between two calls. After TooLong nothing but reset()
    // helps.
    Step next(Event &event);
    // Reconnection time in milliseconds, as the stream last named it.
    int retry() const;

private:
    bool takeLine(QStringView line, Event &event);
    bool takeField(QStringView name, QStringView value, Event &event);

    Limits m_limits;
    std::unique_ptr<QTextDecoder> m_decoder;
    QString m_piece;    // decoded, consumed up to m_position
    int m_position = 0; // everything before it has been looked at, once
    QString m_line;     // beginning of a line whose end has not arrived; holds no line end
    QString m_type;
    QString m_data;
    QString m_id;
    int m_retry = 0;
    bool m_tooLong = false;
};
