#include "settings/settingsfile.h"
#include "settings/settingsstore.h"
#include "tests/support/testmain.h"

#include <qt_windows.h>

class TestRegistry : public QObject
{
    Q_OBJECT

private slots:
    void init() { RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\Corvalt"); }

    void unsafeValuesAreRemoved()
    {
        const std::tuple<int, QString, QVariant> rows[] = {
            // "|" stands for NUL
            {REG_SZ, "@@Variant()", "@Variant()"},
            {REG_EXPAND_SZ, "%a|", "%a"},
            {REG_BINARY, "@String(a|@Variant())", QString("a") + QChar(0) + "@Variant()"},
            {REG_DWORD, "\x11|", 0x11},
            {REG_QWORD, "|||\x11", 0x11LL << 48},
            {REG_MULTI_SZ, "{|@@Variant(||", QStringList{"{", "@Variant("}},
            {REG_BINARY, "@Variant(|||\t\x7f\x7f\x7f\x7f)", {}},
            {REG_SZ, "@Variant(x)", {}},
            {REG_EXPAND_SZ, "@DateTime(|", {}},
            {REG_MULTI_SZ, "a|@Variant()|", {}},
            {REG_DWORD, "\x11", {}},
            {REG_DWORD_BIG_ENDIAN, "", {}},
            {REG_QWORD, "\x11|", {}}};
        for (const QString name : {"KVG-Gate", "OrganizationDefaults"}) {
            for (const auto &[type, text, expected] : rows) {
                init();
                QSettings("Corvalt", name).setValue("A/b/kept", "x");
                const std::wstring data = QString(text).replace('|', QChar(0)).toStdWString();
                for (const QString path : {"", "\\A", "\\A\\b"}) {
                    const auto key = ("Software\\Corvalt\\" + name + path).toStdWString();
                    for (const auto value : {L"", L"c", L"d"}) {
                        RegSetKeyValueW(HKEY_CURRENT_USER, key.c_str(), value, DWORD(type),
                                        data.data(), DWORD(data.size() * sizeof(wchar_t)));
                    }
                }
                sanitizeStoredSettings();
                sanitizeStoredSettings();
                const QSettings settings;
                QCOMPARE(settings.value("A/b/c"), expected);
                QCOMPARE(settings.value("A/b/kept"), QVariant("x"));
                QCOMPARE(settings.allKeys().size(), expected.isValid() ? 10 : 1);
                QSettings aside("Corvalt", "Damaged " + name);
                aside.setFallbacksEnabled(false);
                QCOMPARE(aside.allKeys().size(), expected.isValid() ? 0 : 10);
            }
        }
    }

    void clearingKeepsOtherApplicationsAndOpenObjects()
    {
        QSettings("Corvalt", "Other").setValue("a", "b");
        SettingsStore before;
        before.set(keys::CloudHost, QString("h"));
        SettingsStore().clear();
        before.set(keys::CloudSerial, QString("T"));
        QVERIFY(before.flush());
        QCOMPARE(SettingsStore().ownKeys(), QStringList{"Cloud/Serial"});
        QVERIFY(QSettings("Corvalt", "Other").contains("a"));
    }

    void anInterruptedReplacementIsRolledBack()
    {
        SettingsStore().set(keys::CloudSerial, QString("S"));
        QVERIFY(SettingsStore().replaceAll({{"Cloud/Host", "i"}}));
        sanitizeStoredSettings();
        QVERIFY(replaceSettings([] {
            QSettings().remove("Cloud/Host");
            QSettings().setValue("Cloud/Serial", "T");
            sanitizeStoredSettings(); // as the next start does
            return true;
        }));
        QCOMPARE(SettingsStore().value(keys::CloudHost), QString("i"));
        QCOMPARE(SettingsStore().ownKeys(), QStringList{"Cloud/Host"});
        const QSettings all("HKEY_CURRENT_USER\\Software\\Corvalt", QSettings::NativeFormat);
        QCOMPARE(all.childGroups(), QStringList{"KVG-Gate"});
    }
};

KVG_TEST_MAIN(TestRegistry)
#include "tst_registry.moc"
