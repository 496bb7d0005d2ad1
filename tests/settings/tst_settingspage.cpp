#include "settings/defaults.h"
#include "settings/settingsform.h"
#include "settings/zusettings.h"
#include "tests/support/testmain.h"
#include "tests/support/writefault.h"

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
    bool isDark() const override { return dark; }

    bool dark = false;
};

} // namespace

class TestSettingsPage : public QObject
{
    Q_OBJECT

private slots:
    void init() { QSettings().clear(); }

    void whatIsAppliedIsStoredAndLoadedAgain()
    {
        QSettings().setValue("UI/Language", 31); // the page offers neither value
        QSettings().setValue("Cloud/Interval", 200);
        FakePage page;
        ZUSettings().load(page);
        QVERIFY(ZUSettings().apply(page));
        QCOMPARE(page.warnings, QStringList{"Language"});
        QCOMPARE(QSettings().value("UI/Language").toString(), QString("en"));
        QCOMPARE(QSettings().value("Cloud/Interval").toInt(), 300);
        const SettingsValues values = {6, "h", 1, 2, 1, true, false, true, false, 9, true, false};
        page.shown = values;
        for (int round = 0; round < 2; ++round) {
            QVERIFY(ZUSettings().apply(page));
            QCOMPARE(page.warnings, (QStringList{"Language", "Language", "Theme"}));
            page.shown = {};
            ZUSettings().load(page);
            const SettingsValues &shown = page.shown;
            QVERIFY(shown.intervalIndex == 6 && shown.host == "h" && shown.port == 1);
            QVERIFY(shown.keepAlive == 2 && shown.languageIndex == 1 && shown.scanInterval == 9);
            QVERIFY(shown.autostart && shown.startHidden && shown.dark);
            QVERIFY(!shown.closeToTray && !shown.autoScan && !shown.keepHistory);
        }
        page.entry = false; // another program removed it
        ZUSettings().load(page);
        QVERIFY(!page.shown.autostart);
    }

    void aStoreThatCannotBeWrittenIsReported()
    {
        FakePage page;
        QVERIFY(ZUSettings().apply(page));
        const auto fault = settingsFault();
        page.shown.host = "h";
        QVERIFY(!ZUSettings().apply(page));
    }

    void theFirstApplyKeepsTheThemeInUse()
    {
        FakePage page;
        page.dark = true;
        ZUSettings().load(page);
        QVERIFY(page.shown.dark);
        QVERIFY(ZUSettings().apply(page));
        QVERIFY(!page.warnings.contains("Theme"));
        QVERIFY(SettingsStore().value(keys::Dark));
        page.dark = false;
        ZUSettings().load(page);
        QVERIFY(page.shown.dark);
    }
};

KVG_TEST_MAIN(TestSettingsPage)
#include "tst_settingspage.moc"
