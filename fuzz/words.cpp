// The descriptions of device types (the first line), and states in their words (the others).
#include "fuzz/fuzz.h"
#include "ui/devicewords.h"
#include "ui/statetext.h"

#include <QJsonDocument>

void fuzz(const QByteArray &bytes)
{
    constexpr int maxLength = 5000; // of what is shown on one line, about
    const QByteArrayList lines = bytes.split('\n');
    const QJsonObject descriptions = QJsonDocument::fromJson(lines.first()).object();
    DeviceWords words;
    words.setDescriptions(descriptions);
    const QStringList types = descriptions.keys() << QStringLiteral("gateway");
    for (const QString &type : types) {
        require(words.typeTitle(type).size() <= qMax(200, type.size()));
        require(words.typeDescription(type).size() <= 200);
        for (const QByteArray &line : lines) {
            const QJsonObject state = QJsonDocument::fromJson(line).object();
            require(words.stateLine(type, state).size() <= maxLength);
            require(stateText(state).size() <= maxLength);
            const QStringList members = DeviceWords::numericMembers(state);
            for (const QString &member : members) {
                const DeviceWords::Member name = words.member(type, member);
                require(!name.title.isEmpty() || member.isEmpty() || member.endsWith('.'));
                words.valueText(state.value(member), name.unit);
            }
        }
    }
}
