#include "pilot.h"

#include <QAbstractItemView>
#include <QAccessible>
#include <QApplication>
#include <QHostAddress>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QListView>
#include <QMetaEnum>
#include <QTcpSocket>

namespace {

QJsonArray statesOf(const QAccessible::State &state)
{
    QJsonArray states;
    if (state.active) {
        states.append("active");
    }
    if (state.checked) {
        states.append("checked");
    }
    if (!state.disabled) {
        states.append("sensitive");
    }
    return states;
}

QJsonArray boxOf(const QRect &rect)
{
    return {rect.x(), rect.y(), rect.width(), rect.height()};
}

// From the model: a view updates its accessible cells only while assistive technology is active.
QJsonArray rowsOf(const QAbstractItemView &view)
{
    const char *const role =
        qobject_cast<const QListView *>(&view) != nullptr ? "ListItem" : "Cell";
    const QAbstractItemModel &model = *view.model();
    QJsonArray rows;
    for (int row = 0; row < model.rowCount(view.rootIndex()); ++row) {
        QJsonArray cells;
        for (int column = 0; column < model.columnCount(view.rootIndex()); ++column) {
            const QModelIndex index = model.index(row, column, view.rootIndex());
            const QString spoken = index.data(Qt::AccessibleTextRole).toString();
            QAccessible::State state;
            state.disabled = !index.flags().testFlag(Qt::ItemIsEnabled);
            state.checked = index.data(Qt::CheckStateRole) == Qt::Checked;
            QRect rect = view.visualRect(index);
            rect.moveTopLeft(view.viewport()->mapToGlobal(rect.topLeft()));
            cells.append(QJsonObject{
                {"id", QStringLiteral("%1 %2 %3").arg(quintptr(&view)).arg(row).arg(column)},
                {"role", role},
                {"name", spoken.isEmpty() ? index.data().toString() : spoken},
                {"states", statesOf(state)},
                {"labels", QJsonArray()},
                {"box", boxOf(rect)},
            });
        }
        rows.append(cells);
    }
    return rows;
}

QJsonObject describe(QAccessibleInterface &widget)
{
    QJsonArray labels;
    const auto relations = widget.relations(QAccessible::Label);
    for (const auto &relation : relations) {
        labels.append(relation.first->text(QAccessible::Name));
    }
    QJsonObject object{
        {"id", static_cast<qint64>(QAccessible::uniqueId(&widget))},
        {"role", QMetaEnum::fromType<QAccessible::Role>().valueToKey(widget.role())},
        {"name", widget.text(QAccessible::Name)},
        {"states", statesOf(widget.state())},
        {"labels", labels},
        {"box", boxOf(widget.rect())},
    };
    if (const auto *view = qobject_cast<QAbstractItemView *>(widget.object())) {
        object.insert("rows", rowsOf(*view));
        return object;
    }
    QJsonArray children;
    for (int i = 0; i < widget.childCount(); ++i) {
        QAccessibleInterface *const child = widget.child(i);
        if (child != nullptr && child->isValid() && !child->state().invisible) {
            children.append(describe(*child));
        }
    }
    object.insert("children", children);
    return object;
}

void answer(QTcpSocket &journey)
{
    while (journey.canReadLine()) {
        journey.readLine();
        QAccessibleInterface *const application = QAccessible::queryAccessibleInterface(qApp);
        journey.write(QJsonDocument(describe(*application)).toJson(QJsonDocument::Compact) + '\n');
    }
}

void connectToJourney()
{
    auto *const journey = new QTcpSocket(qApp);
    QObject::connect(journey, &QTcpSocket::readyRead, journey, [journey] { answer(*journey); });
    const auto port = static_cast<quint16>(qEnvironmentVariableIntValue("KVG_PILOT_PORT"));
    journey->connectToHost(QHostAddress(QHostAddress::LocalHost), port);
}

} // namespace

Pilot::Pilot()
{
    QMetaObject::invokeMethod(qApp, connectToJourney, Qt::QueuedConnection);
}
