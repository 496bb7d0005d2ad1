#include "cloud/topics.h"

#include <QVector>

#include <algorithm>

namespace {

const QLatin1String prefix("things/");
const QLatin1String stateSuffix("/state");
const QLatin1String updateSuffix("/update");

// The group of the exact match "things/(.*)/suffix", in which the dot excludes line feeds. Not a
// regular expression, because this runs for every message.
QString idIn(const QString &topic, QLatin1String suffix)
{
    const int length = topic.size() - prefix.size() - suffix.size();
    if (length < 0 || !topic.startsWith(prefix) || !topic.endsWith(suffix)) {
        return {};
    }
    // Null means "no match", so an empty id must not be null.
    const QString id = length == 0 ? QStringLiteral("") : topic.mid(prefix.size(), length);
    return id.contains(QLatin1Char('\n')) ? QString() : id;
}

} // namespace

QString topics::state(const QString &tid)
{
    return prefix + tid + stateSuffix;
}

QString topics::update(const QString &tid)
{
    return prefix + tid + updateSuffix;
}

QString topics::idOfState(const QString &topic)
{
    return idIn(topic, stateSuffix);
}

QString topics::idOfUpdate(const QString &topic)
{
    return idIn(topic, updateSuffix);
}

bool topics::isValidId(const QString &tid)
{
    constexpr int maxTopicSize = 65535; // bytes, MQTT 3.1.1 section 1.5.3
    constexpr int maxLevels = 200;      // mosquitto ends the connection above
    const QString topic = update(tid);
    const QVector<uint> characters = topic.toUcs4();
    const auto forbidden = [](uint c) {
        return c == '#' || c == '+' || QChar::category(c) == QChar::Other_Control ||
               QChar::isNonCharacter(c);
    };
    const bool wellFormed = QString::fromUcs4(characters.constData(), characters.size()) == topic;
    return wellFormed && std::none_of(characters.cbegin(), characters.cend(), forbidden) &&
           topic.count(QLatin1Char('/')) < maxLevels && topic.toUtf8().size() <= maxTopicSize;
}
