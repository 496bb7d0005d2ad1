#include "settings/deviceforms.h"
#include "tests/support/widgettestmain.h"

#include <QDoubleSpinBox>
#include <QGroupBox>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QSettings>

namespace {

QJsonObject type(const QByteArray &settings)
{
    return {{"settings", QJsonDocument::fromJson(settings).array()}};
}

const QJsonObject kettle = type(R"([
    {"name": "b", "type": "bool", "value": true, "descr": "B"},
    {"name": "i", "type": "int", "value": 7, "min": -5, "max": 90000, "descr": "<b>Salt & so</b>"},
    {"type": "spacer"},
    {"name": "f", "type": "float", "value": 1e-9, "descr": "F"},
    {"name": "l", "type": "list", "value": "y", "values": ["x", "y"], "descr": "L"},
    {"name": "s", "type": "string", "value": "t", "descr": "S"}])");
const QVariantMap defaults = {{"enabled", true}, {"b", true}, {"i", 7},
                              {"f", 1e-9},       {"l", "y"},  {"s", "t"}};

// What is stored once the forms have been built and written, of the type "kettle".
QVariantMap written(QWidget &page, const QJsonObject &descriptions)
{
    deviceforms::discard(page);
    deviceforms::build(page, descriptions, nullptr);
    deviceforms::write(page);
    QVariantMap values;
    for (const QString &key : QSettings().allKeys()) {
        values[key.section('/', 2)] = QSettings().value(key);
    }
    return values;
}

} // namespace

class TestDeviceForms : public QObject
{
    Q_OBJECT

private slots:
    void init() { QSettings().clear(); }

    void storedValuesOfTheRightTypeAreShownAndKept()
    {
        QWidget page;
        QCOMPARE(written(page, {{"kettle", kettle}}), defaults);
        const QVariantMap changed = {{"enabled", false},       {"b", false}, {"i", 80000},
                                     {"f", -123456.654321789}, {"l", "x"},   {"s", "a, \"b\" &"}};
        for (auto it = changed.begin(); it != changed.end(); ++it) {
            QSettings().setValue("Plugins/kettle/" + it.key(), it.value().toString());
        }
        QCOMPARE(written(page, {{"kettle", kettle}}), changed);
        for (auto it = defaults.begin(); it != defaults.end(); ++it) {
            QSettings().setValue("Plugins/kettle/" + it.key(), "nonsense");
        }
        QVariantMap expected = defaults;
        expected["l"] = "x"; // the first choice, not the default
        expected["s"] = "nonsense";
        QCOMPARE(written(page, {{"kettle", kettle}}), expected);
        deviceforms::build(page, {{"another", kettle}}, nullptr); // does nothing any more
        QCOMPARE(page.findChildren<QGroupBox *>().size(), 1);
        const auto *const label = page.findChildren<QLabel *>().at(1);
        QCOMPARE(label->text(), QString("<b>Salt && so</b>:"));
        QCOMPARE(label->textFormat(), Qt::PlainText);
    }

    void pointAndCommaAreBothTheDecimalPoint()
    {
        QWidget page;
        page.setLocale(QLocale::Russian);
        deviceforms::build(page, {{"kettle", kettle}}, nullptr);
        auto *const editor = page.findChild<QDoubleSpinBox *>("f");
        for (const QString text : {"1234.5", "1234,5"}) {
            editor->selectAll();
            QTest::keyClicks(editor, text);
            QCOMPARE(editor->value(), 1234.5);
        }
    }

    void aDescriptionCannotMakeAnythingElse()
    {
        QJsonArray odd = type(R"([4, {"name": "typeless"}, {"name": "enabled", "type": "int"},
            {"type": "int"}, {"name": "a/b", "type": "int"}, {"name": "a\\b", "type": "int"},
            {"name": "nowhere", "type": "list", "value": "x"},
            {"name": "i", "type": "int", "min": 9, "max": 1, "value": 1e300},
            {"name": "i", "type": "string"},
            {"name": "j", "type": "int", "min": -1e300, "max": 1e300, "value": -2147483648},
            {"name": "f", "type": "float", "min": "low", "value": 1e300}])")["settings"]
                             .toArray();
        odd.append(QJsonObject{{"name", "n"}, {"type", "float"}, {"min", qQNaN()}, {"value", -1}});
        for (int i = 0; i < 1000; ++i) {
            odd.append(QJsonObject{{"name", QString("s%1").arg(i)}, {"type", "string"}});
        }
        QWidget page;
        const QJsonObject described{{"settings", odd}};
        const QVariantMap values =
            written(page, {{"", kettle}, {"empty", type("[]")}, {"kettle", described}});
        QCOMPARE(page.findChildren<QGroupBox *>().size(), 1);
        QCOMPARE(values.size(), 200 - 8 + 1); // eight make no editor
        QCOMPARE(values["enabled"], QVariant(true));
        QCOMPARE(values["i"], QVariant(0));
        QCOMPARE(values["j"], QVariant(INT_MIN));
        QCOMPARE(values["f"], QVariant(1e300));
        QCOMPARE(values["n"], QVariant(-1.0));
    }
};

KVG_WIDGET_TEST_MAIN(TestDeviceForms)
#include "tst_deviceforms.moc"
