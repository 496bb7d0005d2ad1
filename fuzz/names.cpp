// Names from users, plugins and the cloud: aliases, and ids in topics.
#include "cloud/topics.h"
#include "fuzz/fuzz.h"
#include "mqtt/outbox.h"
#include "mqtt/packets.h"
#include "ui/aliasrule.h"

#include <QBuffer>

void fuzz(const QByteArray &bytes)
{
    QBuffer packet;
    packet.open(QIODevice::WriteOnly);
    QMQTT::Outbox out(&packet);
    QString topic;
    if (QMQTT::packets::decodeTopic(bytes.constData(), bytes.size(), topic)) {
        require(topic.toUtf8() == bytes);
    }
    // With unpaired surrogates, which no UTF-8 gives.
    const QString wide(reinterpret_cast<const QChar *>(bytes.constData()), bytes.size() / 2);
    for (const QString &text : {QString::fromUtf8(bytes), wide}) {
        const QString alias = cleanAlias(text);
        require(cleanAlias(alias) == alias || !text.isValidUtf16());
        require(alias.size() <= maxAliasLength && randomAlias(text).size() <= maxAliasLength);
        for (const QChar c : alias) {
            require(c.category() != QChar::Other_Control && (c == ' ' || !c.isSpace()));
        }
        require(text.contains('\n') || topics::idOfUpdate(topics::update(text)) == text);
        require(text.contains('\n') || topics::idOfState(topics::state(text)) == text);
        if (topics::isValidId(text)) {
            const QByteArray utf8 = topics::update(text).toUtf8();
            require(QMQTT::packets::appendPublish(out, {0, topics::update(text), {}}, 0));
            require(QMQTT::packets::decodeTopic(utf8.constData(), utf8.size(), topic));
            require(topic == topics::update(text));
        }
    }
}
