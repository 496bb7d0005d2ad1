#include "ui/statetext.h"

#include <QJsonArray>
#include <QJsonObject>

namespace {

constexpr int maxLength = 2000; // more than a screen shows

// Every step checks the length, because a device may report a state of any size.
void append(QString &text, const QJsonValue &value)
{
    if (text.size() > maxLength) {
        return;
    }
    switch (value.type()) {
    case QJsonValue::Bool:
        text += QLatin1String(value.toBool() ? "true" : "false");
        break;
    case QJsonValue::Double:
        text += QString::number(value.toDouble(), 'g', 6);
        break;
    case QJsonValue::String:
        text += value.toString().left(maxLength + 1);
        break;
    case QJsonValue::Array: {
        text += QLatin1Char('[');
        const QJsonArray array = value.toArray();
        for (int i = 0; i < array.size() && text.size() <= maxLength; ++i) {
            if (i > 0) {
                text += QLatin1Char(',');
            }
            append(text, array.at(i));
        }
        text += QLatin1Char(']');
        break;
    }
    case QJsonValue::Object: {
        const QJsonObject object = value.toObject();
        for (auto it = object.begin(); it != object.end() && text.size() <= maxLength; ++it) {
            if (it != object.begin()) {
                text += QLatin1Char(',');
            }
            text += it.key().left(maxLength + 1) + QLatin1Char(':');
            append(text, it.value());
        }
        break;
    }
    default:
        text += QLatin1String("null");
        break;
    }
}

} // namespace

QString stateText(const QJsonValue &state)
{
    QString text;
    append(text, state);
    if (text.size() > maxLength) {
        text.truncate(maxLength);
        text += QChar(0x2026);
    }
    return text;
}
