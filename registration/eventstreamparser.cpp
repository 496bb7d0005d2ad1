#include "registration/eventstreamparser.h"

#include <QTextCodec>

#include <algorithm>
#include <utility>

namespace {

constexpr int defaultRetry = 3000; // milliseconds

void append(QString &text, QStringView more)
{
    text.append(more.data(), static_cast<int>(more.size()));
}

} // namespace

EventStreamParser::EventStreamParser()
{
    reset();
}

void EventStreamParser::reset()
{
    // Left to Qt, a byte order mark would vanish from the beginning of later pieces, too.
    m_decoder.reset(QTextCodec::codecForName("UTF-8")->makeDecoder(QTextCodec::IgnoreHeader));
    m_hasBegun = false;
    m_text.clear();
    m_position = 0;
    m_line.clear();
    m_type.clear();
    m_data.clear();
    m_id.clear();
    m_retry = defaultRetry;
    m_tooLong = false;
}

void EventStreamParser::setLimits(const Limits &limits)
{
    m_limits = limits;
}

void EventStreamParser::feed(const QByteArray &bytes)
{
    const int length =
        static_cast<int>(qstrnlen(bytes.constData(), static_cast<uint>(bytes.size())));
    QString text = m_decoder->toUnicode(bytes.constData(), length);
    if (!text.isEmpty() && !std::exchange(m_hasBegun, true) &&
        text.startsWith(QChar(QChar::ByteOrderMark))) {
        text.remove(0, 1);
    }
    m_text = m_position < m_text.size() ? m_text.mid(m_position) + text : text;
    m_position = 0;
}

EventStreamParser::Step EventStreamParser::next(Event &event)
{
    while (!m_tooLong && m_position < m_text.size()) {
        const auto from = m_text.cbegin() + m_position;
        const auto end =
            std::find_if(from, m_text.cend(), [](QChar c) { return c == '\r' || c == '\n'; });
        const QStringView text(&*from, end - from);
        if (m_line.size() + text.size() > m_limits.line) {
            break;
        }
        m_position += static_cast<int>(text.size());
        if (end == m_text.cend()) {
            append(m_line, text);
            break;
        }
        ++m_position;
        if (m_position < m_text.size() && m_text.at(m_position) == QLatin1Char('\n')) {
            ++m_position;
        }
        bool complete = false;
        if (m_line.isEmpty()) {
            complete = parseLine(text, event);
        } else {
            append(m_line, text);
            complete = parseLine(std::exchange(m_line, QString()), event);
        }
        if (complete) {
            return Step::HasEvent;
        }
    }
    m_tooLong = m_tooLong || m_position < m_text.size();
    return m_tooLong ? Step::TooLong : Step::NeedsMore;
}

int EventStreamParser::retry() const
{
    return m_retry;
}

bool EventStreamParser::parseLine(QStringView line, Event &event)
{
    const auto colon = line.indexOf(QLatin1Char(':'));
    if (colon == 0) {
        return false; // a comment line
    }
    const QStringView name = (colon < 0 ? line : line.left(colon)).trimmed();
    const QStringView value = colon < 0 ? QStringView() : line.mid(colon + 1).trimmed();
    if (name.isEmpty() && value.isEmpty()) {
        const QString type = std::exchange(m_type, QString());
        QString data = std::exchange(m_data, QString());
        if (data.isEmpty()) {
            return false;
        }
        data.chop(1); // the line feed of the last "data" line
        event = {type, data, m_id};
        return true;
    }
    if (name == QLatin1String("data")) {
        m_tooLong = m_data.size() + value.size() + 1 > m_limits.event;
        if (!m_tooLong) {
            append(m_data, value);
            m_data += QLatin1Char('\n');
        }
    } else if (name == QLatin1String("event")) {
        m_type = value.toString();
    } else if (name == QLatin1String("id")) {
        if (!value.isEmpty()) {
            m_id = value.toString();
        }
    } else if (name == QLatin1String("retry")) {
        bool decimal = false;
        const int milliseconds = value.toString().toInt(&decimal);
        if (decimal) {
            m_retry = milliseconds;
        }
    }
    return false;
}
