// The list of devices. Lines: "u" or "a" with id, state and registration of a device, live or
// absent, "r" with the id of one that leaves, "s" with the column to sort by, "f" with a filter.
#include "fuzz/fuzz.h"
#include "ui/devicelistmodel.h"
#include "ui/devicewords.h"
#include "ui/thingsstatetablemodel.h"

#include <QAbstractItemModelTester>
#include <QJsonDocument>

void fuzz(const QByteArray &bytes)
{
    const DeviceWords words;
    ThingsStateTableModel live;
    ThingsStateTableModel absent;
    DeviceListModel list(live, absent, words);
    const QAbstractItemModelTester tester(&list,
                                          QAbstractItemModelTester::FailureReportingMode::Fatal);
    QString filter;
    const QByteArrayList lines = bytes.split('\n');
    for (const QByteArray &line : lines) {
        const QByteArrayList parts = line.mid(1).split(' ');
        ThingState thing;
        thing.shortid = thing.alias = QString::fromUtf8(parts.at(0));
        thing.state = QJsonDocument::fromJson(parts.value(1)).object();
        thing.regid = QString::fromUtf8(parts.value(2));
        thing.gone = line.startsWith('a');
        if (line.startsWith('u') || thing.gone) {
            (thing.gone ? absent : live).update(thing);
        } else if (line.startsWith('r')) {
            live.remove(thing.shortid);
            absent.remove(thing.shortid);
        } else if (line.startsWith('s')) {
            list.sort(parts.at(0).toInt() % 6 - 1, Qt::SortOrder(parts.size() % 2));
        } else if (line.startsWith('f')) {
            list.setFilter(filter = thing.shortid.simplified());
        }
    }
    list.setFilter({}); // compares all rows again
    require(list.rowCount() == live.rowCount() + absent.rowCount());
    int matching = 0;
    for (int row = 0; row < list.rowCount(); ++row) {
        bool matches = false;
        for (int column = 0; column < list.columnCount(); ++column) {
            const QString text = list.index(row, column).data().toString();
            matches = matches || text.contains(filter, Qt::CaseInsensitive);
        }
        matching += matches ? 1 : 0;
    }
    list.setFilter(filter);
    require(list.rowCount() == matching);
}
