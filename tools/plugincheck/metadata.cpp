#include "tools/plugincheck/metadata.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QSet>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace {

constexpr int maxSettings = 200; // that a form shows
constexpr int maxNameLength = 200;

struct Fault
{
    bool isThere;
    QString text;
};

QString firstOf(const std::vector<Fault> &faults)
{
    const auto fault =
        std::find_if(faults.begin(), faults.end(), [](const Fault &each) { return each.isThere; });
    return fault == faults.end() ? QString() : fault->text;
}

bool isOfType(const QJsonValue &value, const QString &type)
{
    if (type == QLatin1String("bool")) {
        return value.isBool();
    }
    if (type == QLatin1String("float")) {
        return value.isDouble();
    }
    // Two different defaults give the same value only if it is an integer.
    return type == QLatin1String("int") ? value.toInt(0) == value.toInt(1) : value.isString();
}

bool isTextOrAbsent(const QJsonValue &value)
{
    return value.isUndefined() || value.isString();
}

// Names become parts of a settings key.
bool isName(const QString &name)
{
    return !name.isEmpty() && name.size() <= maxNameLength && !name.contains(QLatin1Char('/')) &&
           !name.contains(QLatin1Char('\\'));
}

QString settingFault(const QJsonObject &setting, QSet<QString> &names)
{
    static const QStringList types = {"bool", "int", "float", "list", "string"};
    const QString type = setting["type"].toString();
    if (type == QLatin1String("spacer")) {
        return {};
    }
    const QString name = setting["name"].toString();
    const bool isTaken = names.contains(name);
    names.insert(name);
    const bool isNumber = type == QLatin1String("int") || type == QLatin1String("float");
    const QJsonValue value = setting["value"];
    const QJsonValue min = isNumber ? setting["min"] : QJsonValue::Undefined;
    const QJsonValue max = isNumber ? setting["max"] : QJsonValue::Undefined;
    const auto isLimit = [&](const QJsonValue &limit) {
        return limit.isUndefined() || isOfType(limit, type);
    };
    const bool isOutside =
        value.toDouble() < min.toDouble(-HUGE_VAL) || value.toDouble() > max.toDouble(HUGE_VAL);
    const bool isNoChoice =
        type == QLatin1String("list") && !setting["values"].toArray().contains(value);
    return firstOf(
        {{!isName(name), "its \"name\" is empty, too long or contains a slash"},
         {isTaken, "another one has its name, or the gateway uses it itself"},
         {!types.contains(type), "its \"type\" is none of bool, int, float, list, string, spacer"},
         {!isOfType(value, type), "its default, \"value\", is missing or not of its type"},
         {!isLimit(min) || !isLimit(max), "\"min\" or \"max\" is not of its type"},
         {min.toDouble(-HUGE_VAL) > max.toDouble(HUGE_VAL), "its \"min\" is above its \"max\""},
         {isOutside, "its \"value\" is not between \"min\" and \"max\""},
         {isNoChoice, "its \"value\" is not one of its \"values\""},
         {setting["descr"].toString().isEmpty(), "it has no \"descr\", its label in the form"},
         {!isTextOrAbsent(setting["unit"]), "its \"unit\" is not a text"}});
}

} // namespace

QString metadata::fault(const QString &fileName, const QJsonObject &metadata)
{
    const QString name = metadata["name"].toString();
    const QJsonArray dependencies = metadata["deps"].toArray();
    const QJsonObject states = metadata["states"].toObject();
    const bool hasWrongDependency =
        std::any_of(dependencies.begin(), dependencies.end(), [](const QJsonValue &dependency) {
            // The gateway ignores those of another type.
            return !dependency["type"].isString() ||
                   (dependency["type"] == QLatin1String("lib") &&
                    (!isName(dependency["name"].toString()) ||
                     !isOfType(dependency["version"], QStringLiteral("int"))));
        });
    const bool hasWrongState =
        std::any_of(states.begin(), states.end(), [](const QJsonValue &state) {
            return !state.isObject() || !isTextOrAbsent(state["title"]) ||
                   !isTextOrAbsent(state["unit"]);
        });
    const auto isOther = [&](const char *member, QJsonValue::Type type) {
        const QJsonValue value = metadata[QLatin1String(member)];
        return !value.isUndefined() && value.type() != type;
    };
    return firstOf(
        {{!isName(name) || name.contains(QLatin1Char('_')),
          "\"name\" is empty, too long or contains a slash or \"_\""},
         {QFileInfo(fileName).completeBaseName() != QLatin1String("thing_") + name,
          QStringLiteral("the file of the type \"%1\" must be named thing_%1").arg(name)},
         {!isOfType(metadata["version"], QStringLiteral("int")), "\"version\" is not an integer"},
         {metadata["type"] != QLatin1String("thing"), "\"type\" is not \"thing\""},
         {isOther("title", QJsonValue::String) || isOther("descr", QJsonValue::String),
          "\"title\" or \"descr\" is not a text"},
         {isOther("deps", QJsonValue::Array) || hasWrongDependency,
          R"("deps" is not a list of {"type": "lib", "name": "usbbus", "version": 2})"},
         {isOther("states", QJsonValue::Object) || hasWrongState,
          R"("states" is not of the form {"level": {"title": "Level", "unit": "%"}})"}});
}

QString metadata::settingsFault(const QJsonObject &metadata)
{
    const QJsonValue described = metadata["settings"];
    const QJsonArray settings = described.toArray();
    if ((!described.isUndefined() && !described.isArray()) || settings.size() > maxSettings) {
        return QStringLiteral("\"settings\" is not a list of at most %1").arg(maxSettings);
    }
    QSet<QString> names = {QStringLiteral("enabled")};
    for (int i = 0; i < settings.size(); ++i) {
        const QString fault = settingFault(settings[i].toObject(), names);
        if (!fault.isEmpty()) {
            return QStringLiteral("setting %1 (\"%2\"): %3")
                .arg(i + 1)
                .arg(settings[i]["name"].toString(), fault);
        }
    }
    return {};
}

QVariantHash describedSettings(const QJsonObject &metadata, const QStringList &given,
                               QString *unknown)
{
    static const QHash<QString, QMetaType::Type> typeOf = {
        {"bool", QMetaType::Bool}, {"int", QMetaType::Int}, {"float", QMetaType::Double}};
    QVariantHash values = {{"enabled", true}};
    const QJsonArray settings = metadata["settings"].toArray();
    for (int i = 0; i < qMin(settings.size(), maxSettings); ++i) {
        const QJsonValue setting = settings[i];
        QVariant value = setting["value"].toVariant();
        value.convert(typeOf.value(setting["type"].toString(), QMetaType::QString));
        values[setting["name"].toString()] = value;
    }
    for (const QString &text : given) {
        QVariant &value = values[text.section(QLatin1Char('='), 0, 0)];
        QVariant wanted = text.section(QLatin1Char('='), 1);
        if (!value.isValid() || !wanted.convert(int(value.type()))) {
            *unknown = text;
        }
        value = wanted;
    }
    return values;
}
