#include "ui/devicewords.h"

#include "ui/statetext.h"

#include <QCoreApplication>
#include <QJsonValue>
#include <QLocale>

#include <cmath>
#include <functional>

namespace {

// Descriptions come from plugins.
constexpr int maxTextLength = 200;
constexpr int maxMembers = 1000;

QString numberText(double number)
{
    // Whole numbers have all their digits, as far as a double can hold them.
    const bool isWhole = std::floor(number) == number && std::fabs(number) < 1e15;
    return isWhole ? QLocale().toString(static_cast<qlonglong>(number))
                   : QLocale().toString(number, 'g', 6);
}

} // namespace

QString DeviceWords::translated(const QJsonValue &text)
{
    const QString source = text.toString().left(maxTextLength).simplified();
    // The translations include the descriptions of the device types that come with the gateway.
    return source.isEmpty() ? QString()
                            : QCoreApplication::translate("Plugins", source.toUtf8().constData());
}

QString DeviceWords::typeOf(const QString &shortid)
{
    return shortid.section(QLatin1Char('_'), 0, 0);
}

void DeviceWords::setDescriptions(const QJsonObject &descriptions)
{
    m_types.clear();
    for (auto it = descriptions.begin(); it != descriptions.end(); ++it) {
        const QJsonObject description = it.value().toObject();
        Type type{translated(description[QLatin1String("title")]),
                  translated(description[QLatin1String("descr")]),
                  {}};
        const QJsonObject states = description[QLatin1String("states")].toObject();
        for (auto state = states.begin(); state != states.end() && type.members.size() < maxMembers;
             ++state) {
            const QJsonObject words = state.value().toObject();
            type.members.insert(state.key(), {translated(words[QLatin1String("title")]),
                                              translated(words[QLatin1String("unit")])});
        }
        m_types.insert(it.key(), type);
    }
    const QString devices = QCoreApplication::translate("DeviceWords", "Registered devices");
    m_types.insert(QStringLiteral("gateway"),
                   {QCoreApplication::translate("DeviceWords", "Gateway"),
                    {},
                    {{QStringLiteral("count"), {devices, {}}}}});
}

QStringList DeviceWords::numericMembers(const QJsonObject &state)
{
    constexpr int maxDepth = 4; // as the history has them
    QStringList paths;
    const std::function<void(const QString &, const QJsonObject &, int)> add =
        [&](const QString &prefix, const QJsonObject &object, int depth) {
            for (auto it = object.begin(); it != object.end() && paths.size() < maxMembers; ++it) {
                if (it.value().isDouble() || it.value().isBool()) {
                    paths += prefix + it.key();
                } else if (it.value().isObject() && depth < maxDepth) {
                    add(prefix + it.key() + QLatin1Char('.'), it.value().toObject(), depth + 1);
                }
            }
        };
    add(QString(), state, 1);
    return paths;
}

QString DeviceWords::typeTitle(const QString &type) const
{
    const QString title = m_types.value(type).title;
    return title.isEmpty() ? type : title;
}

QString DeviceWords::typeDescription(const QString &type) const
{
    return m_types.value(type).description;
}

DeviceWords::Member DeviceWords::member(const QString &type, const QString &path) const
{
    Member words = m_types.value(type).members.value(path);
    if (words.title.isEmpty()) {
        words.title = path.section(QLatin1Char('.'), -1);
    }
    return words;
}

QString DeviceWords::valueText(const QJsonValue &value, const QString &unit) const
{
    QString text;
    if (value.isBool()) {
        text = value.toBool() ? QCoreApplication::translate("DeviceWords", "yes")
                              : QCoreApplication::translate("DeviceWords", "no");
    } else if (value.isDouble()) {
        text = numberText(value.toDouble());
    } else {
        text = stateText(value);
    }
    return unit.isEmpty() ? text : text + QChar(0xa0) + unit;
}

QString DeviceWords::stateLine(const QString &type, const QJsonObject &state) const
{
    const auto words = m_types.constFind(type);
    if (words == m_types.cend() || words->members.isEmpty()) {
        return stateText(state);
    }
    QString line;
    appendLine(line, *words, QString(), state);
    return line;
}

// Objects within objects are few: a device that sends endless ones gets the short form.
void DeviceWords::appendLine(QString &line, const Type &type, const QString &path,
                             const QJsonObject &state) const
{
    constexpr int maxLength = 2000;
    constexpr int maxPath = 100;
    for (auto it = state.begin(); it != state.end() && line.size() < maxLength; ++it) {
        const QString inner = path + it.key().left(maxPath);
        if (it.value().isObject() && inner.size() < maxPath) {
            appendLine(line, type, inner + QLatin1Char('.'), it.value().toObject());
            continue;
        }
        const auto words = type.members.constFind(inner);
        const bool isKnown = words != type.members.cend();
        line += line.isEmpty() ? QString() : QStringLiteral(", ");
        line += isKnown && !words->title.isEmpty() ? words->title : inner;
        line += QLatin1String(": ") + valueText(it.value(), isKnown ? words->unit : QString());
    }
}
