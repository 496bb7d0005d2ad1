#include "tests/support/widgettestmain.h"
#include "ui/deviceforms.h"

#include <QDoubleSpinBox>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QSettings>

namespace {

const QJsonArray kettle = QJsonDocument::fromJson(R"([
    {"name": "b", "type": "bool", "value": true}, {"type": "spacer"},
    {"name": "i", "type": "int", "value": 7, "min": -5, "max": 90000, "descr": "<b>Salt & so</b>"},
    {"name": "f", "type": "float", "value": 1e-9}, {"name": "s", "type": "string", "value": "t"},
    {"name": "l", "type": "list", "value": "y", "values": ["x", "y"]}])")
                              .array();

} // namespace

class TestDeviceForms : public QObject
{
    Q_OBJECT

private slots:
    void init() { QSettings().clear(); }

    void storedValuesOfTheRightTypeAreShownAndKept()
    {
        QVariantMap values = {{"enabled", true}, {"b", true}, {"i", 7},
                              {"f", 1e-9},       {"l", "y"},  {"s", "t"}};
        QCOMPARE(written(kettle), values);
        values["l"] = "x"; // the first choice, not the default
        const QVariantMap odd{{"enabled", "?"}, {"b", "?"}, {"i", "?"}, {"f", "?"}, {"l", "?"}};
        QCOMPARE(written(kettle, odd), values);
        values = {{"enabled", false},       {"b", false}, {"i", 80000},
                  {"f", -123456.654321789}, {"l", "x"},   {"s", "a, \"b\" &"}};
        QCOMPARE(written(kettle, values), values);
        const auto *const label = m_page->findChildren<QLabel *>().at(1);
        QCOMPARE(label->text(), QString("<b>Salt && so</b>:"));
        QCOMPARE(label->textFormat(), Qt::PlainText);

        auto *const editor = m_page->findChild<QDoubleSpinBox *>("f");
        for (const QString text : {"1234.5", "1234,5"}) { // whatever the locale
            editor->selectAll();
            QTest::keyClicks(editor, text);
            QCOMPARE(editor->value(), 1234.5);
        }
    }

    void invalidDescriptionsAreIgnored()
    {
        QJsonArray odd = QJsonDocument::fromJson(R"([
            4, {"name": "typeless"}, {"name": "enabled", "type": "int"}, {"type": "int"},
            {"name": "a/b", "type": "int"}, {"name": "a\\b", "type": "int"},
            {"name": "i", "type": "int", "min": 9, "max": 1, "value": 1e300},
            {"name": "nowhere", "type": "list", "value": "x"}, {"name": "i", "type": "string"},
            {"name": "j", "type": "int", "min": -1e300, "max": 1e300, "value": -2147483648},
            {"name": "f", "type": "float", "min": "low", "value": 1e300}])")
                             .array();
        for (int i = 0; i < 1000; ++i) {
            odd.append(QJsonObject{{"name", QString("s%1").arg(i)}, {"type", "string"}});
        }
        const QVariantMap values = written(odd);
        QCOMPARE(QSettings().allKeys().size(), 200 - 8 + 1); // eight make no editor
        QCOMPARE(values["enabled"], QVariant(true));
        QCOMPARE(values["i"], QVariant(0));
        QCOMPARE(values["j"], QVariant(INT_MIN));
        QCOMPARE(values["f"], QVariant(1e300));
    }

private:
    // What is stored for the type "kettle" after its form was built and written. Types without a
    // name or settings make no form.
    QVariantMap written(const QJsonArray &settings, const QVariantMap &stored = {})
    {
        for (auto it = stored.begin(); it != stored.end(); ++it) {
            QSettings().setValue("Plugins/kettle/" + it.key(), it.value().toString());
        }
        m_page = std::make_unique<QWidget>();
        m_page->setLocale(QLocale::Russian);
        const QJsonObject type{{"settings", settings}};
        deviceforms::build(*m_page, {{"", type}, {"empty", {}}, {"kettle", type}});
        if (!deviceforms::write(*m_page)) {
            return {};
        }
        QVariantMap values;
        for (const QString &key : QSettings().allKeys()) {
            values[key.section('/', 2)] = QSettings().value(key);
        }
        return values;
    }

    std::unique_ptr<QWidget> m_page;
};

KVG_WIDGET_TEST_MAIN(TestDeviceForms)
#include "tst_deviceforms.moc"
