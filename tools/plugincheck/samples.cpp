#include "tools/plugincheck/samples.h"

#include <QJsonArray>

#include <climits>
#include <limits>

namespace {

constexpr int longText = 60000; // the gateway passes updates of up to 64 KiB

// The longest one last.
const QVariantList &wrongValues()
{
    static const QVariantList values =
        QVariantList{QVariant(), true, false, 0, -1, 0.5, 1e300, -1e300, qQNaN(), qInf()} +
        QVariantList{INT_MAX, INT_MIN, std::numeric_limits<qint64>::max()} +
        QVariantList{"", "x", " 7 ", "1e9", "NaN", "../..", QString(QChar(u'\0'))} +
        QVariantList{QString(QChar(0xd800)), QByteArray("\xff\0", 2), QVariantList(),
                     QVariantMap()} +
        QVariantList{QVariantList{1, "x"}, QVariantMap{{"x", 1}}, QString(longText, 'x')};
    return values;
}

QJsonValue nested(int depth)
{
    QJsonValue value = 1;
    for (int i = 0; i < depth; ++i) {
        value = i % 2 == 0 ? QJsonValue(QJsonArray{value}) : QJsonObject{{"x", value}};
    }
    return value;
}

const QJsonArray &wrongMembers()
{
    static const QJsonArray values = [] {
        QVariantList numbers;
        for (int i = 0; i < 10000; ++i) {
            numbers.append(i);
        }
        QJsonArray all = QJsonArray::fromVariantList(wrongValues());
        all.append(nested(500));
        all.append(QJsonArray::fromVariantList(numbers));
        return all;
    }();
    return values;
}

QJsonValue randomValue(const QJsonObject &like, QRandomGenerator &random, int depth)
{
    switch (random.bounded(depth > 0 ? 6 : 4)) {
    case 0:
        return wrongMembers()[random.bounded(wrongValues().size() - 1)];
    case 1:
        return random.bounded(2) == 0;
    case 2:
        return random.bounded(300) - 100;
    case 3:
        return QString::number(random.generate(), 36);
    case 4:
        return QJsonArray{randomValue(like, random, depth - 1),
                          randomValue(like, random, depth - 1)};
    default: {
        QJsonObject object = {{"x", randomValue(like, random, depth - 1)}};
        for (auto it = like.begin(); it != like.end(); ++it) {
            if (random.bounded(2) == 0) {
                object[it.key()] = randomValue(it->toObject(), random, depth - 1);
            }
        }
        return object;
    }
    }
}

} // namespace

QVector<QVariantHash> samples::wrongSettings(const QJsonObject &metadata, const QVariantHash &valid)
{
    QVector<QVariantHash> all = {{}, {{"x", "x"}}};
    for (auto it = valid.begin(); it != valid.end(); ++it) {
        QVariantHash changed = valid;
        changed.remove(it.key());
        all.append(changed);
        for (const QVariant &wrong : wrongValues()) {
            changed[it.key()] = wrong;
            all.append(changed);
        }
    }
    const QJsonArray settings = metadata["settings"].toArray();
    for (const QJsonValue &setting : settings) {
        QVariantHash changed = valid;
        for (const double beyond : {setting["min"].toDouble() - 1, setting["max"].toDouble() + 1}) {
            changed[setting["name"].toString()] = beyond;
            all.append(changed);
        }
    }
    return all + extremeSettings(metadata, valid);
}

QVector<QVariantHash> samples::extremeSettings(const QJsonObject &metadata,
                                               const QVariantHash &valid)
{
    QVector<QVariantHash> all;
    const QJsonArray settings = metadata["settings"].toArray();
    for (const QJsonValue &setting : settings) {
        QVariantList ends = setting["values"].toArray().toVariantList();
        for (const QJsonValue &end : {setting["min"], setting["max"]}) {
            if (end.isDouble()) {
                ends.append(setting["type"] == QLatin1String("int") ? QVariant(end.toInt())
                                                                    : QVariant(end.toDouble()));
            }
        }
        if (setting["type"] == QLatin1String("bool")) {
            ends = {false, true};
        }
        for (const QVariant &end : qAsConst(ends)) {
            QVariantHash changed = valid;
            changed[setting["name"].toString()] = end;
            all.append(changed);
        }
    }
    return all;
}

QVariantHash samples::randomSettings(const QVariantHash &valid, QRandomGenerator &random)
{
    QVariantHash changed = valid;
    const QStringList names = valid.keys();
    for (const QString &name : names) {
        switch (random.bounded(4)) {
        case 0:
            break;
        case 1:
            changed[name] = random.bounded(200) - 50;
            break;
        case 2:
            changed[name] = QString::number(random.generate(), 36);
            break;
        default:
            changed[name] = wrongValues()[random.bounded(wrongValues().size())];
        }
    }
    return changed;
}

QVector<QJsonObject> samples::wrongUpdates(const QJsonObject &state)
{
    QVector<QJsonObject> all = {{}, {{"", 1}}, {{"x", nested(500)}}};
    for (auto it = state.begin(); it != state.end(); ++it) {
        for (const QJsonValue wrong : wrongMembers()) {
            all.append(QJsonObject{{it.key(), wrong}});
            const QJsonObject inner = it->toObject();
            for (auto member = inner.begin(); member != inner.end(); ++member) {
                QJsonObject changed = inner;
                changed[member.key()] = wrong;
                all.append(QJsonObject{{it.key(), changed}});
            }
        }
    }
    return all;
}

QJsonObject samples::randomUpdate(const QJsonObject &state, QRandomGenerator &random)
{
    QJsonObject update;
    for (auto it = state.begin(); it != state.end(); ++it) {
        if (random.bounded(3) != 0) {
            update[it.key()] = randomValue(it->toObject(), random, 3);
        }
    }
    return update;
}
