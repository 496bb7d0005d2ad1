#include "settings/settingsfile.h"

#include "settings/log.h"

#include <QCoreApplication>
#include <QStringList>
#include <QVariant>
#include <qt_windows.h>

#include <algorithm>
#include <cwchar>
#include <limits>
#include <memory>
#include <vector>

namespace {

constexpr int deepest = 32;               // keys below one another: as many as one call makes
constexpr int mostEntries = 100000;       // keys and values together
constexpr DWORD largestValue = 64U << 20; // bytes

constexpr REGSAM writing = KEY_READ | KEY_WRITE | DELETE;

struct CloseKey
{
    using pointer = HKEY;
    void operator()(HKEY key) const { RegCloseKey(key); }
};
using OpenKey = std::unique_ptr<HKEY, CloseKey>;

const wchar_t *wide(const QString &text)
{
    return reinterpret_cast<const wchar_t *>(text.utf16());
}

// Null when it cannot be opened. A link is opened as itself: what it leads to is not the gateway's.
OpenKey openKey(HKEY parent, const QString &name, REGSAM access)
{
    HKEY key = nullptr;
    RegOpenKeyExW(parent, wide(name), REG_OPTION_OPEN_LINK, access, &key);
    return OpenKey(key);
}

OpenKey makeKey(HKEY parent, const QString &name)
{
    HKEY key = nullptr;
    RegCreateKeyExW(parent, wide(name), 0, nullptr, 0, writing, nullptr, &key, nullptr);
    return OpenKey(key);
}

bool isLink(HKEY key)
{
    DWORD type = REG_NONE;
    return RegQueryValueExW(key, L"SymbolicLinkValue", nullptr, &type, nullptr, nullptr) ==
               ERROR_SUCCESS &&
           type == REG_LINK;
}

bool isUnsafeText(const QString &text)
{
    return text.startsWith(QLatin1String("@Variant(")) ||
           text.startsWith(QLatin1String("@DateTime("));
}

// The toolkit takes a number for as long as its type is, and bytes for a text in UTF-16.
bool isUnsafe(DWORD type, const BYTE *data, DWORD size)
{
    const auto text = [=] {
        return QString::fromWCharArray(reinterpret_cast<const wchar_t *>(data), int(size / 2));
    };
    switch (type) {
    case REG_DWORD:
    case REG_DWORD_BIG_ENDIAN:
        return size != sizeof(DWORD);
    case REG_QWORD:
        return size != sizeof(DWORD64);
    case REG_MULTI_SZ: {
        const QStringList texts = text().split(QChar(QChar::Null));
        return std::any_of(texts.cbegin(), texts.cend(), isUnsafeText);
    }
    default:
        return isUnsafeText(text());
    }
}

// Goes through a key and those below it.
class Walker
{
public:
    // True when all that is there is safe.
    bool isSafe(HKEY key) { return pass(key, nullptr, 0); }
    // Copies what is safe, and passes over the rest.
    void copy(HKEY from, HKEY to) { pass(from, to, 0); }

private:
    bool pass(HKEY from, HKEY to, int depth)
    {
        if (depth > deepest || isLink(from)) {
            return false; // a link can lead round in circles
        }
        const bool safe = passValues(from, to);
        return (safe || to != nullptr) && passKeys(from, to, depth) && safe;
    }

    bool passValues(HKEY from, HKEY to)
    {
        DWORD longestName = 0;
        DWORD longest = 0;
        RegQueryInfoKeyW(from, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                         &longestName, &longest, nullptr, nullptr);
        std::vector<wchar_t> name(longestName + 1U);
        std::vector<BYTE> data(std::min(longest, largestValue) + 1U);
        bool safe = true;
        for (DWORD index = 0;; ++index) {
            DWORD nameSize = DWORD(name.size());
            DWORD size = DWORD(data.size());
            DWORD type = REG_NONE;
            const LONG result = RegEnumValueW(from, index, name.data(), &nameSize, nullptr, &type,
                                              data.data(), &size);
            if (result == ERROR_NO_MORE_ITEMS) {
                return safe;
            }
            if (--m_left < 0 || (result != ERROR_SUCCESS && result != ERROR_MORE_DATA)) {
                return false;
            }
            if (result == ERROR_MORE_DATA || isUnsafe(type, data.data(), size)) {
                safe = false;
            } else if (to != nullptr && std::wcslen(name.data()) == nameSize) {
                RegSetValueExW(to, name.data(), 0, type, data.data(), size);
            }
        }
    }

    bool passKeys(HKEY from, HKEY to, int depth)
    {
        bool safe = true;
        for (DWORD index = 0;; ++index) {
            wchar_t buffer[256]; // as long as a name can be
            DWORD size = DWORD(std::size(buffer));
            const LONG result =
                RegEnumKeyExW(from, index, buffer, &size, nullptr, nullptr, nullptr, nullptr);
            if (result == ERROR_NO_MORE_ITEMS) {
                return safe;
            }
            if (--m_left < 0 || result != ERROR_SUCCESS) {
                return false;
            }
            const QString name = QString::fromWCharArray(buffer, int(size));
            const OpenKey key = openKey(from, name, KEY_READ);
            if (name.contains(QChar(QChar::Null))) {
                // The toolkit would open another key instead, and go round in circles.
                safe = false;
            } else if (key) {
                // A copy as deep as what it leaves out would be unsafe again.
                const bool copies = to != nullptr && depth < deepest;
                const OpenKey copied = copies ? makeKey(to, name) : OpenKey();
                safe =
                    (to == nullptr || copied) && pass(key.get(), copied.get(), depth + 1) && safe;
            } // else the toolkit cannot read it either
            if (!safe && to == nullptr) {
                return false;
            }
        }
    }

    int m_left = mostEntries;
};

// Whatever there is under such a name stays as it is: nobody knows what a tree of others leads to
// when it is deleted. The new name; empty when that cannot be done.
QString putAside(HKEY key, const QString &name)
{
    for (int number = 1; number < 100; ++number) {
        QString aside = QLatin1String("Damaged ") + name;
        if (number > 1) {
            aside += QLatin1Char(' ') + QString::number(number);
        }
        if (RegRenameKey(key, nullptr, wide(aside)) == ERROR_SUCCESS) {
            return aside;
        }
    }
    return {};
}

QString pathOf(const QString &name)
{
    return QLatin1String("Software\\") + QCoreApplication::organizationName() + QLatin1Char('\\') +
           name;
}

void removeUnsafe(const QString &name)
{
    const QString path = pathOf(name);
    const OpenKey key = openKey(HKEY_CURRENT_USER, path, KEY_READ);
    if (!key || Walker().isSafe(key.get())) {
        return;
    }
    const OpenKey writable = openKey(HKEY_CURRENT_USER, path, writing);
    const QString aside = writable ? putAside(writable.get(), name) : QString();
    if (aside.isEmpty()) {
        qCWarning(lcSettings).noquote() << "Unsafe values stay in the registry under" << path;
        return;
    }
    const OpenKey fresh = makeKey(HKEY_CURRENT_USER, path);
    if (fresh) {
        Walker().copy(writable.get(), fresh.get());
    }
    qCWarning(lcSettings).noquote() << path << "held values that are not the gateway's; it is kept"
                                    << "as" << aside + QLatin1String(", the other values stay");
}

// Where the old settings are while others replace them. They count when the mark is set.
QString formerPath()
{
    return pathOf(QLatin1String("Replaced ") + QCoreApplication::applicationName());
}
constexpr wchar_t completeMark[] = L"Complete";

void dropFormer(HKEY former)
{
    RegDeleteValueW(former, completeMark);
    if (Walker().isSafe(former)) { // a link could lead to what is not the gateway's
        RegDeleteTreeW(former, nullptr);
        RegDeleteKeyW(HKEY_CURRENT_USER, wide(formerPath()));
    }
}

void undoReplacement()
{
    const OpenKey former = openKey(HKEY_CURRENT_USER, formerPath(), writing);
    if (!former) {
        return;
    }
    const bool complete = RegQueryValueExW(former.get(), completeMark, nullptr, nullptr, nullptr,
                                           nullptr) == ERROR_SUCCESS;
    const OpenKey values = openKey(former.get(), QStringLiteral("Values"), KEY_READ);
    const OpenKey current = makeKey(HKEY_CURRENT_USER, pathOf(QCoreApplication::applicationName()));
    if (complete && values && current && Walker().isSafe(values.get()) &&
        Walker().isSafe(current.get())) {
        RegDeleteTreeW(current.get(), nullptr);
        Walker().copy(values.get(), current.get());
        qCWarning(lcSettings, "The settings were being replaced when the gateway ended; the old "
                              "ones are back");
    }
    dropFormer(former.get());
}

} // namespace

void secureSettings()
{
    // Where the toolkit looks; the rest of it only administrators can write.
    removeUnsafe(QCoreApplication::applicationName());
    removeUnsafe(QStringLiteral("OrganizationDefaults"));
    undoReplacement();
}

bool replaceSettings(const std::function<bool()> &replace)
{
    const OpenKey current =
        openKey(HKEY_CURRENT_USER, pathOf(QCoreApplication::applicationName()), KEY_READ);
    const OpenKey former = makeKey(HKEY_CURRENT_USER, formerPath());
    const OpenKey values = former ? makeKey(former.get(), QStringLiteral("Values")) : OpenKey();
    if (current && values) {
        Walker().copy(current.get(), values.get());
        RegSetValueExW(former.get(), completeMark, 0, REG_NONE, nullptr, 0);
    }
    const bool replaced = replace();
    if (former) {
        dropFormer(former.get());
    }
    return replaced;
}

QVariant storable(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::UInt: // numbers of the registry come back with a sign
        return value.toUInt() > uint(std::numeric_limits<int>::max()) ? value.toString() : value;
    case QMetaType::ULongLong:
        return value.toULongLong() > quint64(std::numeric_limits<qint64>::max()) ? value.toString()
                                                                                 : value;
    case QMetaType::QStringList: {
        // The registry's lists end with an empty item. The toolkit would write one that holds such
        // an item in the form that secureSettings() takes out.
        const QStringList list = value.toStringList();
        if (list.isEmpty()) {
            return {}; // as in a file
        }
        const bool fits = std::none_of(list.cbegin(), list.cend(), [](const QString &item) {
            return item.isEmpty() || item.contains(QChar(QChar::Null));
        });
        return fits ? value : list.join(QLatin1Char(','));
    }
    default:
        return value;
    }
}
