#include "settings/settingsfile.h"
#include "settings/zusettings.h"
#include "tests/support/testmain.h"

#include <qt_windows.h>
#include <winternl.h>

// Takes names with NULs, which any program can ask for below the functions of other tests.
extern "C" NTSTATUS NTAPI NtCreateKey(PHANDLE key, ACCESS_MASK access, POBJECT_ATTRIBUTES object,
                                      ULONG index, PUNICODE_STRING type, ULONG options,
                                      PULONG disposition);
// "\\Registry\\User\\…", as links have to name it.
extern "C" NTSTATUS NTAPI RtlFormatCurrentUserKeyPath(PUNICODE_STRING path);

namespace {

const QString home = "KVG-Gate";
const QString untouched = QString(defaults::CloudHost) + "|7";

// A "|" stands for a NUL.
QByteArray utf16(QString text)
{
    text.replace('|', QChar(0));
    return QByteArray(reinterpret_cast<const char *>(text.utf16()), text.size() * 2);
}

// The key that holds the value at a path such as "KVG-Gate/Cloud/Host".
std::wstring keyOf(const QString &path)
{
    return QDir::toNativeSeparators("Software/Corvalt/" + path.section('/', 0, -2)).toStdWString();
}

HKEY makeKey(const QString &path, DWORD options = 0)
{
    HKEY key = nullptr;
    RegCreateKeyExW(HKEY_CURRENT_USER, keyOf(path).c_str(), 0, nullptr, options, KEY_ALL_ACCESS,
                    nullptr, &key, nullptr);
    return key;
}

void put(const QString &path, int type, const QByteArray &data)
{
    QCOMPARE(RegSetKeyValueW(HKEY_CURRENT_USER, keyOf(path).c_str(),
                             path.section('/', -1).toStdWString().c_str(), DWORD(type),
                             data.constData(), DWORD(data.size())),
             LONG(ERROR_SUCCESS));
}

// The type and the bytes; empty when there is nothing.
QByteArray get(const QString &path)
{
    QByteArray data(1000, 0);
    DWORD type = REG_NONE;
    auto size = DWORD(data.size());
    HKEY key = nullptr;
    RegOpenKeyExW(HKEY_CURRENT_USER, keyOf(path).c_str(), 0, KEY_READ, &key);
    const LONG result = RegQueryValueExW(key, path.section('/', -1).toStdWString().c_str(), nullptr,
                                         &type, reinterpret_cast<BYTE *>(data.data()), &size);
    RegCloseKey(key);
    return result == ERROR_SUCCESS ? char(type) + data.left(int(size)) : QByteArray();
}

// Whether the store is put aside under that name, once, and what is safe is there again.
bool isPutAside(const QString &name)
{
    const bool early = !get(name + "/Cloud/Serial").isEmpty();
    secureSettings();
    secureSettings();
    return !early && !get(name + "/Cloud/Serial").isEmpty() &&
           SettingsStore().ownKeys() == QStringList{"Cloud/Serial"};
}

} // namespace

class TestRegistry : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\Corvalt");
        QVERIFY(!SettingsStore().contains(keys::StoredVersion));
    }

    // The toolkit builds whatever an unsafe value says, down to the end of the process.
    void whatOthersWriteIsTakenWhereItFitsAndPutAsideWhereItIsUnsafe()
    {
        const QString unsafe = QString::fromLatin1("@Variant(|||\t\x7f\xff\xff\xff)");
        const QString others = "OrganizationDefaults";
        const std::tuple<QString, int, QByteArray, QString> rows[] = {
            {home, REG_SZ, utf16("120"), "120|120"},
            {home, REG_EXPAND_SZ, utf16("%a|"), "%a|7"},
            {home, REG_BINARY, "\1", "|7"},
            {home, REG_DWORD, QByteArray(4, '\xff'), "-1|7"},
            {home, REG_QWORD, "\x22\x11" + QByteArray(6, 0), "4386|4386"},
            {home, REG_QWORD, QByteArray(4, 0) + '\1' + QByteArray(3, 0), "4294967296|7"},
            {home, REG_MULTI_SZ, utf16("{|}||"), "{,}|7"},
            {home, REG_NONE, {}, "|7"},
            {home, REG_BINARY, utf16(unsafe), untouched},
            {home, REG_NONE, utf16("@DateTime(" + unsafe.mid(9)), untouched},
            {home, REG_SZ, utf16("@Variant(x)|"), untouched},
            {home, REG_SZ, utf16("@Variant(x)|") + 'x', untouched},
            {home, REG_EXPAND_SZ, utf16("@DateTime()|"), untouched},
            {home, REG_MULTI_SZ, utf16("a|@Variant()|"), untouched},
            {home, REG_DWORD, "ab", untouched},
            {home, REG_DWORD_BIG_ENDIAN, {}, untouched},
            {home, REG_QWORD, "abcd", untouched},
            {others, REG_BINARY, utf16(unsafe), untouched}};
        for (const auto &[name, type, data, expected] : rows) {
            init();
            put(name + "/Cloud/Host", type, data);
            put(name + "/Updates/Interval", type, data);
            put(name + "/Cloud/Serial", REG_SZ, utf16("odd") + 'x');
            put(name + QString::fromUtf8("/Cloud/я\\é"), REG_BINARY, "xyz");
            put(name + "/", REG_SZ, utf16("@@Variant()"));
            secureSettings();
            secureSettings();
            const SettingsStore store;
            const QString host = store.value(keys::CloudHost);
            QCOMPARE(host + QString("|%1").arg(store.value(keys::UpdateInterval)), expected);
            QCOMPARE(store.value(keys::CloudSerial), QString("oddx"));
            QCOMPARE(QSettings().value(".").toString(), QString("@Variant()"));
            const bool safe = expected != untouched;
            QCOMPARE(QSettings().allKeys().size(), safe ? 5 : 3);
            const QString aside = "Damaged " + name;
            QCOMPARE(get(aside + "/Cloud/Host"), safe ? QByteArray() : char(type) + data);
            put(name + "/again", REG_BINARY, utf16(unsafe));
            secureSettings();
            QVERIFY(!QSettings().contains("again"));
            QCOMPARE(get(aside + (safe ? "/again" : " 2/again")), char(REG_BINARY) + utf16(unsafe));
        }
    }

    void clearingLeavesTheNeighboursAndWhoeverIsThere()
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

    void aReplacementThatWasCutShortIsUndone()
    {
        SettingsStore().set(keys::CloudSerial, QString("S"));
        QVERIFY(SettingsStore().replaceAll({{"Cloud/Host", "i"}}));
        replaceSettings([] {
            QSettings().remove("Cloud/Host");
            QSettings().setValue("Cloud/Serial", "T");
            secureSettings(); // as the next start does
            return true;
        });
        QCOMPARE(SettingsStore().value(keys::CloudHost), QString("i"));
        QCOMPARE(SettingsStore().ownKeys(), QStringList{"Cloud/Host"});
        QCOMPARE(RegDeleteKeyW(HKEY_CURRENT_USER, keyOf("Replaced KVG-Gate/").c_str()),
                 LONG(ERROR_FILE_NOT_FOUND));
    }

    void noTreeLeadsTheReaderAstray()
    {
        SettingsStore().set(keys::CloudSerial, QString("S"));
        UNICODE_STRING user{};
        RtlFormatCurrentUserKeyPath(&user);
        const std::wstring circle = user.Buffer + (L'\\' + keyOf("KVG-Gate/"));
        HKEY key = makeKey("KVG-Gate/Cloud/Link/", REG_OPTION_CREATE_LINK);
        RegSetValueExW(key, L"SymbolicLinkValue", 0, REG_LINK,
                       reinterpret_cast<const BYTE *>(circle.data()), DWORD(circle.size() * 2));
        RegCloseKey(key);
        RtlFreeUnicodeString(&user);
        QVERIFY(isPutAside("Damaged KVG-Gate"));

        for (int depth = 30; depth < 400; depth += 30) { // as many as one call makes
            RegCloseKey(makeKey(home + QString("/x").repeated(depth)));
        }
        QVERIFY(isPutAside("Damaged KVG-Gate 2"));

        // The last one: nothing above the system's own functions can delete it.
        wchar_t text[] = L"Cloud\0x";
        UNICODE_STRING name{14, 14, text};
        OBJECT_ATTRIBUTES object;
        key = makeKey("KVG-Gate/");
        InitializeObjectAttributes(&object, &name, OBJ_CASE_INSENSITIVE, key, nullptr);
        HANDLE made = nullptr;
        NtCreateKey(&made, KEY_ALL_ACCESS, &object, 0, nullptr, 0, nullptr);
        CloseHandle(made);
        RegCloseKey(key);
        RegCloseKey(makeKey("KVG-Gate/Cloud/Below/"));
        QVERIFY(isPutAside("Damaged KVG-Gate 3"));
    }
};

KVG_TEST_MAIN(TestRegistry)
#include "tst_registry.moc"
