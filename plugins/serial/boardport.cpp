#include "plugins/serial/boardport.h"

#include "plugins/serial/log.h"
#include "plugins/serial/serialport.h"
#include "plugins/serial/serialsettings.h"

#include <QFileInfo>
#include <QMetaObject>

#include <mutex>
#include <utility>

Q_LOGGING_CATEGORY(lcSerial, "kvg.serial")

using namespace std::chrono_literals;

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto tick = 100ms; // between two reports
constexpr auto noTimeout = -1ms;
// More than a board sends at 921600 baud. What exceeds it waits in the driver, which slows the
// board down; parsing this much takes a few per cent of a processor.
constexpr int maxBytesPerTick = 16384;
constexpr int maxLinesPerTick = 200;
constexpr int readSize = 1024;
constexpr int maxQueuedBytes = 16384;
// Boards print their "thing" line before their readings, but the first line may be lost.
constexpr auto serialDelay = 300ms;
constexpr auto threadEndDelay = 100ms;

} // namespace

// What the port's object and its thread share.
struct BoardPort::Link
{
    SerialPort port;
    std::mutex mutex;           // of what follows
    BoardPort *owner = nullptr; // null: the thread is to end
    QByteArray output;
};

BoardPort::BoardPort(PortInfo info)
    : m_info(std::move(info))
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &BoardPort::timeOut);
}

BoardPort::~BoardPort()
{
    endThread();
}

void BoardPort::open(const SerialSettings &settings)
{
    if (m_state != State::Closed) {
        return;
    }
    m_state = State::Opening;
    m_report = {};
    m_timer.start(settings.wait);
    m_link = std::make_shared<Link>();
    m_link->owner = this;
    std::packaged_task<void()> task(
        [link = m_link, name = m_info.name, speed = settings.speed] { run(link, name, speed); });
    m_threadEnd = task.get_future();
    m_thread = std::thread(std::move(task));
}

void BoardPort::close()
{
    m_timer.stop();
    endThread();
    m_state = State::Closed;
    release();
}

void BoardPort::leaveAlone(const QString &reason)
{
    qCWarning(lcSerial).noquote().nospace()
        << "Serial port " << m_info.name
        << " is left alone until it is plugged in again: " << reason;
    close();
    m_state = State::LeftAlone;
}

QString BoardPort::serial() const
{
    return m_report.serial.isEmpty() ? m_info.serial() : m_report.serial;
}

QString BoardPort::deviceKey() const
{
    return m_info.key + QLatin1Char(' ') + serial();
}

void BoardPort::write(const QByteArray &line)
{
    if (!m_link) {
        return;
    }
    bool fits = false;
    {
        const std::lock_guard<std::mutex> lock(m_link->mutex);
        fits = m_link->output.size() + line.size() <= maxQueuedBytes;
        if (fits) {
            m_link->output += line;
        }
    }
    m_link->port.wake();
    if (!fits) {
        warnOnce(QStringLiteral("an update was dropped, because the board does not read them"));
    }
}

// On the port's thread: has the owner's thread call `function`, unless the port is closed by then.
template <typename Function>
void BoardPort::post(const std::shared_ptr<Link> &link, Function function)
{
    const std::lock_guard<std::mutex> lock(link->mutex);
    BoardPort *const owner = link->owner;
    if (owner != nullptr) {
        const auto call = [owner, link, function] {
            if (owner->m_link == link) {
                function(*owner);
            }
        };
        QMetaObject::invokeMethod(owner, call, Qt::QueuedConnection);
    }
}

// The port's thread.
void BoardPort::run(const std::shared_ptr<Link> &link, const QString &name, int speed)
{
    const SerialPort::Result result = link->port.open(name, speed);
    if (result == SerialPort::Result::Opened) {
        post(link, [](BoardPort &owner) { owner.listen(); });
        exchange(link);
        post(link, [](BoardPort &owner) { owner.lose(); });
    } else {
        post(link, [result](BoardPort &owner) { owner.fail(result); });
    }
    link->port.close();
}

// Until the port is closed or gone.
void BoardPort::exchange(const std::shared_ptr<Link> &link)
{
    BoardLines lines;
    QByteArray input;
    QByteArray output;
    bool isChanged = false; // since the last report
    int bytes = 0;          // in this tick
    int linesBefore = 0;    // this tick
    Clock::time_point tickEnd = Clock::now();
    bool isOpen = true;
    do {
        bytes += input.size();
        isChanged = lines.feed(input) || isChanged;
        const Clock::time_point now = Clock::now();
        if (now >= tickEnd && bytes > 0) {
            if (std::exchange(isChanged, false)) {
                post(link, [report = lines.report](BoardPort &owner) { owner.apply(report); });
            }
            bytes = 0;
            linesBefore = lines.parsedLines();
            tickEnd = now + tick;
        }
        const bool isFull =
            bytes >= maxBytesPerTick || lines.parsedLines() - linesBefore >= maxLinesPerTick;
        lines.report.isFlood = lines.report.isFlood || isFull;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(tickEnd - now);
        {
            const std::lock_guard<std::mutex> lock(link->mutex);
            if (link->owner == nullptr) {
                return;
            }
            if (output.isEmpty()) {
                output = std::exchange(link->output, {});
            }
        }
        isOpen = link->port.exchange(input, isFull ? 0 : readSize, output,
                                     isFull || isChanged ? left : noTimeout);
    } while (isOpen);
}

void BoardPort::listen()
{
    m_state = State::Listening;
    m_timer.start(); // anew: opening may have taken time
}

// The port could not be opened.
void BoardPort::fail(SerialPort::Result result)
{
    close();
    m_hasFailed = true;
    if (result == SerialPort::Result::Busy) {
        warnOnce(QStringLiteral("another program has it open, or access is denied"));
    } else if (result == SerialPort::Result::Failed) {
        warnOnce(QStringLiteral("it cannot be opened as a serial port"));
    } else {
        warnOnce(QStringLiteral("permission denied; add the user to the group \"%1\", which owns "
                                "the port, and log in again")
                     .arg(QFileInfo(m_info.name).group()));
    }
}

// The port is gone.
void BoardPort::lose()
{
    const bool hadBoard = m_state == State::Ready;
    qCDebug(lcSerial).noquote() << "Serial port" << m_info.name << "is gone";
    close();
    if (!hadBoard) {
        m_state = State::LeftAlone;
    }
}

void BoardPort::apply(const BoardReport &report)
{
    const QString formerSerial = serial();
    m_report = report;
    if (!report.hasSpoken) {
        return;
    }
    if (report.hasRejected) {
        warnOnce(QStringLiteral("a line was ignored, because it or the state would get too long"));
    }
    if (report.isFlood) {
        warnOnce(QStringLiteral("the board is slowed down, because it sends too much"));
    }
    if (m_state == State::Listening) {
        if (!m_report.serial.isEmpty()) {
            m_timer.stop();
            m_state = State::Ready;
            emit settled();
        } else if (m_timer.intervalAsDuration() != serialDelay) {
            m_timer.start(serialDelay);
        }
    } else if (serial() == formerSerial) {
        emit reported();
    } else if (m_taken) {
        warnOnce(QStringLiteral("the board has another serial than before"));
        release();
    }
}

void BoardPort::timeOut()
{
    if (m_report.hasSpoken) {
        m_state = State::Ready;
    } else {
        leaveAlone(m_state == State::Opening
                       ? QStringLiteral("opening it takes too long")
                       : QStringLiteral("no JSON object came from it in time"));
    }
    emit settled();
}

void BoardPort::endThread()
{
    if (!m_link) {
        return;
    }
    {
        const std::lock_guard<std::mutex> lock(m_link->mutex);
        m_link->owner = nullptr;
    }
    m_link->port.wake();
    if (m_threadEnd.wait_for(threadEndDelay) == std::future_status::ready) {
        m_thread.join();
    } else {
        m_thread.detach(); // it hangs in the driver, and ends as soon as that returns
    }
    m_link.reset();
}

void BoardPort::release()
{
    if (std::exchange(m_taken, false)) {
        emit gone();
    }
}

void BoardPort::warnOnce(const QString &text)
{
    if (!m_warnings.contains(text)) {
        m_warnings.append(text);
        qCWarning(lcSerial).noquote().nospace() << "Serial port " << m_info.name << ": " << text;
    }
}
