#include "plugins/serial/boardlines.h"

#include "plugins/serial/portinfo.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <utility>

namespace {

constexpr int maxMembers = 100; // of the whole state, elements of arrays included
constexpr int maxDepth = 5;
constexpr int maxNameLength = 100;
constexpr int maxTextLength = 256;

// Counts down `members`. False when `value` exceeds a bound.
bool isBounded(const QJsonValue &value, int depth, int &members)
{
    if (--members < 0 || depth > maxDepth) {
        return false;
    }
    if (value.isArray()) {
        const QJsonArray array = value.toArray();
        return std::all_of(array.begin(), array.end(), [&](const QJsonValue &element) {
            return isBounded(element, depth + 1, members);
        });
    }
    const QJsonObject object = value.toObject();
    for (auto member = object.begin(); member != object.end(); ++member) {
        if (member.key().size() > maxNameLength || !isBounded(member.value(), depth + 1, members)) {
            return false;
        }
    }
    return value.toString().size() <= maxTextLength;
}

// On one line, without characters that cannot be seen.
QString cleanTitle(const QString &text)
{
    constexpr int maxTitleLength = 100;
    QString clean;
    for (const QChar character : text.left(maxTextLength).simplified()) {
        const QChar::Category category = character.category();
        if (category != QChar::Other_Control && category != QChar::Other_Format) {
            clean += character;
        }
    }
    clean.truncate(maxTitleLength);
    if (!clean.isEmpty() && clean.at(clean.size() - 1).isHighSurrogate()) {
        clean.chop(1);
    }
    return clean.trimmed();
}

} // namespace

bool BoardLines::feed(const QByteArray &bytes)
{
    m_changed = false;
    for (int from = 0; from < bytes.size();) {
        const int found = bytes.indexOf('\n', from);
        const int end = found < 0 ? bytes.size() : found;
        if (!m_skipping && m_line.size() + end - from > maxLineSize) {
            m_skipping = true;
            m_changed = m_changed || !report.hasRejected;
            report.hasRejected = true;
        }
        if (m_skipping) {
            m_line.clear();
        } else {
            m_line.append(bytes.constData() + from, end - from);
        }
        if (found >= 0) {
            parse();
            m_line.resize(0);
            m_skipping = false;
        }
        from = end + 1;
    }
    return m_changed;
}

void BoardLines::parse()
{
    const QByteArray text = m_line.trimmed();
    if (!text.startsWith('{') || !text.endsWith('}')) {
        return;
    }
    ++m_parsedLines;
    const QJsonObject line = QJsonDocument::fromJson(text).object();
    if (line.isEmpty()) {
        return;
    }
    if (merge(line)) {
        m_changed = m_changed || !report.hasSpoken;
        report.hasSpoken = true;
    } else {
        m_changed = m_changed || !report.hasRejected;
        report.hasRejected = true;
    }
}

bool BoardLines::merge(const QJsonObject &line)
{
    const QJsonObject thing = line["thing"].toObject();
    const QString serial = identityText(thing["serial"].toVariant().toString());
    const bool isOther = !serial.isEmpty() && serial != report.serial;
    QJsonObject state = isOther ? QJsonObject() : report.state;
    for (auto member = line.begin(); member != line.end(); ++member) {
        if (member.value().isNull()) {
            state.remove(member.key());
        } else if (member.key() != QLatin1String("thing")) {
            state.insert(member.key(), member.value());
        }
    }
    int members = maxMembers + 1; // the state itself
    if (!isBounded(state, 0, members)) {
        return false;
    }
    const QString title = cleanTitle(thing["title"].toString());
    if (isOther || !title.isEmpty()) {
        m_changed = m_changed || isOther || title != report.title;
        report.title = title;
    }
    if (isOther) {
        report.serial = serial;
    }
    m_changed = m_changed || state != report.state;
    report.state = std::move(state);
    return true;
}
