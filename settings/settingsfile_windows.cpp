#include "settings/settingsfile.h"

#include "settings/log.h"

#include <QStringList>
#include <QVariant>
#include <qt_windows.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

// QSettings derives these from the names that main() sets.
constexpr wchar_t organizationPath[] = L"Software\\Corvalt";
constexpr wchar_t settingsName[] = L"KVG-Gate";
// The copy of the settings during replaceSettings(); it is incomplete while it is made or deleted.
// The names sort around the settings' own: Wine 8 crashes when renaming moves a key one place up.
constexpr wchar_t previousName[] = L"Previous KVG-Gate";
constexpr wchar_t incompleteName[] = L"Incomplete KVG-Gate";

using Key = std::unique_ptr<std::remove_pointer_t<HKEY>, decltype(&RegCloseKey)>;

// Null when the key does not exist or access is denied.
Key openKey(HKEY parent, const wchar_t *name)
{
    HKEY key = nullptr;
    RegOpenKeyExW(parent, name, 0, MAXIMUM_ALLOWED, &key);
    return {key, RegCloseKey};
}

Key makeKey(HKEY parent, const wchar_t *name)
{
    HKEY key = nullptr;
    RegCreateKeyExW(parent, name, 0, nullptr, 0, MAXIMUM_ALLOWED, nullptr, &key, nullptr);
    return {key, RegCloseKey};
}

bool isUnsafe(DWORD type, const BYTE *data, DWORD size)
{
    if (type == REG_DWORD || type == REG_DWORD_BIG_ENDIAN || type == REG_QWORD) {
        return size != (type == REG_QWORD ? 8 : 4); // QSettings copies as many in any case
    }
    const auto text =
        QString::fromWCharArray(reinterpret_cast<const wchar_t *>(data), int(size / 2));
    const QStringList items = type == REG_MULTI_SZ ? text.split(QChar(0)) : QStringList(text);
    return std::any_of(items.cbegin(), items.cend(), [](const QString &item) {
        return item.startsWith("@Variant(") || item.startsWith("@DateTime(");
    });
}

// Whether the key or a key below it holds unsafe values. With `remove` it deletes them, and tells
// whether any remain.
bool hasUnsafe(HKEY key, bool remove)
{
    DWORD keys = 0;
    DWORD values = 0;
    DWORD maxName = 0;
    DWORD maxValue = 0;
    RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values, &maxName,
                     &maxValue, nullptr, nullptr);
    std::vector<wchar_t> name(std::max(maxName, 255UL) + 1); // 255: the maximum of a key
    std::vector<BYTE> data(maxValue + 1);
    bool found = false;
    while (values-- > 0) { // from the last: removing a value moves those after it
        DWORD nameSize = DWORD(name.size());
        DWORD size = DWORD(data.size());
        DWORD type = REG_NONE;
        if (RegEnumValueW(key, values, name.data(), &nameSize, nullptr, &type, data.data(),
                          &size) == ERROR_SUCCESS &&
            isUnsafe(type, data.data(), size)) {
            found = !remove || RegDeleteValueW(key, name.data()) != ERROR_SUCCESS || found;
        }
    }
    while (keys-- > 0) {
        DWORD nameSize = DWORD(name.size());
        if (RegEnumKeyExW(key, keys, name.data(), &nameSize, nullptr, nullptr, nullptr, nullptr) ==
            ERROR_SUCCESS) {
            const Key child = openKey(key, name.data());
            found = (child && hasUnsafe(child.get(), remove)) || found;
        }
    }
    return found;
}

void removeUnsafe(HKEY organization, const wchar_t *name, const wchar_t *aside)
{
    const Key key = openKey(organization, name);
    if (key && hasUnsafe(key.get(), false)) {
        const LONG error = RegCopyTreeW(key.get(), nullptr, makeKey(organization, aside).get());
        const bool remain = hasUnsafe(key.get(), true);
        qCWarning(lcSettings, "%s unsafe values from the registry key %ls; copied it to %ls: %ls",
                  remain ? "Cannot remove" : "Removed", name, aside,
                  qUtf16Printable(qt_error_string(error)));
    }
}

} // namespace

void sanitizeStore()
{
    const Key organization = makeKey(HKEY_CURRENT_USER, organizationPath);
    if (openKey(organization.get(), previousName)) {
        RegDeleteTreeW(organization.get(), settingsName);
        const LONG error = RegRenameKey(organization.get(), previousName, settingsName);
        qCWarning(lcSettings, "A restore was interrupted; restored the previous settings: %ls",
                  qUtf16Printable(qt_error_string(error)));
    }
    RegDeleteTreeW(organization.get(), incompleteName);
    removeUnsafe(organization.get(), settingsName, L"Damaged KVG-Gate");
    removeUnsafe(organization.get(), L"OrganizationDefaults", L"Damaged OrganizationDefaults");
}

bool replaceSettings(const std::function<bool()> &replace)
{
    const Key organization = makeKey(HKEY_CURRENT_USER, organizationPath);
    LONG error = RegCopyTreeW(openKey(organization.get(), settingsName).get(), nullptr,
                              makeKey(organization.get(), incompleteName).get());
    if (error == ERROR_SUCCESS) {
        error = RegRenameKey(organization.get(), incompleteName, previousName);
    }
    if (error != ERROR_SUCCESS) {
        qCWarning(lcSettings, "Cannot copy the settings: %ls",
                  qUtf16Printable(qt_error_string(error)));
        return false;
    }
    const bool replaced = replace();
    RegRenameKey(organization.get(), previousName, incompleteName);
    RegDeleteTreeW(organization.get(), incompleteName);
    return replaced;
}

QVariant storable(const QVariant &value)
{
    if (value.userType() == QMetaType::UInt || value.userType() == QMetaType::ULongLong) {
        return value.toString(); // QSettings reads the registry's numbers as signed
    }
    if (value.userType() != QMetaType::QStringList) {
        return value;
    }
    // An empty list reads as invalid, as from a file. QSettings would write a list with such items
    // as @Variant.
    const QStringList list = value.toStringList();
    const bool isUnsafe = list.contains(QString()) || list.join(QString()).contains(QChar(0));
    return list.isEmpty() ? QVariant() : isUnsafe ? list.join(',') : value;
}
