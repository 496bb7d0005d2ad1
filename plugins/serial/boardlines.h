#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

// What a board has told since its port was opened. A value.
struct BoardReport
{
    bool hasSpoken = false; // a line made sense
    QString serial;         // that the board gives itself; checked, may be empty
    QString title;          // likewise; one line, at most 100 characters
    QJsonObject state;
    bool hasRejected = false; // a line exceeded a bound and was ignored
    bool isFlood = false;     // the board sends more than is read
};

// Reads a board's lines: each is a JSON object whose members are merged into the state; null
// removes a member, and "thing" tells what the board is. Another serial there begins a new, empty
// state. Other lines are ignored. The memory is bounded, whatever comes.
class BoardLines
{
public:
    static constexpr int maxLineSize = 4096; // bytes

    // Takes the next bytes. True when the report has changed.
    bool feed(const QByteArray &bytes);
    // Lines that feed() has parsed so far.
    int parsedLines() const { return m_parsedLines; }

    BoardReport report;

private:
    void parse();
    bool merge(const QJsonObject &line);

    QByteArray m_line;       // up to now
    bool m_skipping = false; // until the end of the line
    bool m_changed = false;
    int m_parsedLines = 0;
};
