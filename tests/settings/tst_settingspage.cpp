#include "settings/settingsform.h"
#include "settings/zusettings.h"
#include "tests/support/testmain.h"

namespace {

struct FakePage : SettingsForm, Autostart
{
    SettingsValues shown;
    bool entry = false;
    QStringList warnings;

    SettingsValues values() const override { return shown; }
    void show(const SettingsValues &values) override { shown = values; }
    void warn(const QString &title, const QString &) override { warnings.append(title); }
    Autostart &autostart() override { return *this; }
    bool autostartSet() const override { return entry; }
    void setAutostart(bool on) override { entry = on; }
};

} // namespace

class TestSettingsPage : public QObject
{
    Q_OBJECT

private slots:
    void whatIsAppliedIsStoredAndLoadedAgain()
    {
        QSettings().setValue("UI/Language", 31); // neither is among the choices
        QSettings().setValue("Cloud/Interval", 200);
        FakePage page;
        ZUSettings().load(page);
        ZUSettings().apply(page);
        QCOMPARE(page.warnings, QStringList{"Language"});
        QCOMPARE(QSettings().value("UI/Language").toString(), QString("en"));
        QCOMPARE(QSettings().value("Cloud/Interval").toInt(), 300);
        page.shown = {6, "h", 1, 2, 1, true, false, true, false, 9, true};
        for (int round = 0; round < 2; ++round) {
            ZUSettings().apply(page);
            QString stored;
            for (const QString &key : QSettings().allKeys()) {
                stored += QSettings().value(key).toString() + ' ';
            }
            QCOMPARE(stored, QString("h 3600 2 1 false true false 9 true 0.2.0 true ru "));
            QCOMPARE(page.warnings, (QStringList{"Language", "Language", "Theme"}));
            page.shown = {};
            ZUSettings().load(page);
        }
        page.entry = false; // behind our back
        ZUSettings().load(page);
        QVERIFY(!page.shown.autostart);
    }
};

KVG_TEST_MAIN(TestSettingsPage)
#include "tst_settingspage.moc"
