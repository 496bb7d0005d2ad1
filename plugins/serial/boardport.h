#pragma once

#include "plugins/serial/boardlines.h"
#include "plugins/serial/portinfo.h"
#include "plugins/serial/serialport.h"

#include <QObject>
#include <QStringList>
#include <QTimer>

#include <future>
#include <memory>
#include <thread>

struct SerialSettings;

// A serial port, and the board that may be at it. A thread of its own reads and writes; everything
// here is called, and every signal emitted, on the thread that made the object.
class BoardPort : public QObject
{
    Q_OBJECT

public:
    enum class State {
        Closed,    // the next open() may open it
        Opening,   // may last as long as a driver hangs
        Listening, // no line that makes sense has come, or its serial may follow
        Ready,     // a board with an identity
        LeftAlone, // closed for good: opening the port again might disturb the device
    };

    explicit BoardPort(PortInfo info);
    // Does not wait for a port that hangs.
    ~BoardPort() override;

    // Does nothing unless the port is closed.
    void open(const SerialSettings &settings);
    // Emits gone() for a board that is taken.
    void close();
    // Closes the port and logs why.
    void leaveAlone(const QString &reason);

    const PortInfo &info() const { return m_info; }
    State state() const { return m_state; }
    // A board may still turn up. A port that could not be opened counts only once it is open.
    bool isUndecided() const
    {
        return m_state == State::Listening || (m_state == State::Opening && !m_hasFailed);
    }
    const BoardReport &report() const { return m_report; }
    // Of the board, as far as it is known.
    QString serial() const;
    // Of the board; changes with its serial.
    QString deviceKey() const;

    // There is a thing for the board.
    bool isTaken() const { return m_taken; }
    void take() { m_taken = true; }

    // Sends a line. A board that does not read loses what exceeds the queue.
    void write(const QByteArray &line);

signals:
    void settled();  // is Ready, or silent and left alone
    void reported(); // report() has changed
    // The board that was taken has left; another one may be at the port.
    void gone();

private:
    struct Link;
    template <typename Function>
    static void post(const std::shared_ptr<Link> &link, Function function);
    static void run(const std::shared_ptr<Link> &link, const QString &name, int speed);
    static void exchange(const std::shared_ptr<Link> &link);
    void listen();
    void fail(SerialPort::Result result);
    void lose();
    void apply(const BoardReport &report);
    void timeOut();
    void endThread();
    void release();
    void warnOnce(const QString &text);

    const PortInfo m_info;
    State m_state = State::Closed;
    bool m_taken = false;
    bool m_hasFailed = false; // to open
    BoardReport m_report;
    QTimer m_timer;               // of Opening and Listening
    QStringList m_warnings;       // that were logged
    std::shared_ptr<Link> m_link; // with the thread
    std::thread m_thread;
    std::future<void> m_threadEnd;
};
