// The pane of a device. Lines: the states that it shows one after the other.
#include "fuzz/fuzz.h"
#include "history/history.h"
#include "ui/devicepane.h"

#include <QJsonDocument>

void fuzz(const QByteArray &bytes)
{
    static const DeviceWords words;
    static auto *const history = new History(QStringLiteral("/dev/null/history.db"));
    static auto *const pane = new DevicePane(words, *history);
    pane->showNothing();
    const QByteArrayList lines = bytes.split('\n');
    for (int i = 0; i < lines.size(); ++i) {
        ThingState thing;
        thing.shortid = i % 4 == 3 ? QStringLiteral("lamp_1_2") : QStringLiteral("lamp_1_1");
        thing.alias = QString::fromUtf8(lines.at(i));
        thing.state = QJsonDocument::fromJson(lines.at(i)).object();
        thing.gone = thing.state.isEmpty();
        pane->showThing(thing, i);
        pane->grab({0, 0, 50, 50});
    }
}
