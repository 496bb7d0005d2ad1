// The registrar's event stream: the events that a plain reading of the rules finds, whether the
// bytes come at once or in pieces.
#include "fuzz/fuzz.h"
#include "registration/eventstreamparser.h"

#include <QStringList>
#include <QTextCodec>

#include <memory>

namespace {

constexpr EventStreamParser::Limits limits{60, 120};

// Appends the events; a null text for bytes that are too long, after which nothing may follow.
void parse(EventStreamParser &parser, const QByteArray &bytes, QStringList &events)
{
    if (events.endsWith(QString())) {
        return;
    }
    parser.feed(bytes);
    EventStreamParser::Event event;
    auto step = parser.next(event);
    for (; step == EventStreamParser::Step::HasEvent; step = parser.next(event)) {
        events += event.type + '|' + event.data + '|' + event.id;
    }
    events += step == EventStreamParser::Step::TooLong ? QStringList(QString()) : QStringList();
}

QStringList read(const QString &text)
{
    QStringList events;
    QString type;
    QString data;
    QString id;
    for (int at = 0, end = 0; at < text.size(); at = end + 1) {
        for (end = at; end < text.size() && text.at(end) != '\n' && text.at(end) != '\r';) {
            ++end;
        }
        const QString line = text.mid(at, end - at);
        if (line.size() > limits.line || end == text.size()) {
            return line.size() > limits.line ? events << QString() : events;
        }
        end += text.mid(end + 1, 1) == QLatin1String("\n") ? 1 : 0;
        const QString name = line.section(':', 0, 0).trimmed();
        const QString value = line.section(':', 1).trimmed();
        if (line.startsWith(':')) {
            continue;
        }
        if (name.isEmpty() && value.isEmpty()) {
            if (!data.isEmpty()) {
                data.chop(1);
                events += type + '|' + data + '|' + id;
            }
            type = data = QString();
        } else if (name == QLatin1String("data")) {
            data += value + '\n';
            if (data.size() > limits.event) {
                return events << QString();
            }
        } else if (name == QLatin1String("event")) {
            type = value;
        } else if (name == QLatin1String("id") && !value.isEmpty()) {
            id = value;
        }
    }
    return events;
}

} // namespace

void fuzz(const QByteArray &bytes)
{
    EventStreamParser whole;
    whole.setLimits(limits);
    QStringList events;
    parse(whole, bytes, events); // up to the first NUL
    const std::unique_ptr<QTextDecoder> decoder(QTextCodec::codecForName("UTF-8")->makeDecoder());
    const QByteArray begin = bytes.contains('\0') ? bytes.left(bytes.indexOf('\0')) : bytes;
    const QString text = decoder->toUnicode(begin);
    require(events == read(text));
    if (text.contains(QChar::ReplacementCharacter)) {
        return; // Qt's decoder makes more or fewer of them when invalid bytes are cut
    }
    EventStreamParser cut;
    cut.setLimits(limits);
    QStringList cutEvents;
    QByteArray pending; // looking ahead for a line feed ends with a piece
    inPieces(begin, [&](const QByteArray &piece) {
        if (piece.at(0) != '\n') {
            parse(cut, std::exchange(pending, {}), cutEvents);
        }
        pending += piece;
    });
    parse(cut, pending, cutEvents);
    require(events == cutEvents && (events.endsWith(QString()) || whole.retry() == cut.retry()));
}
