#include "tests/support/writefault.h"

#include <QDir>
#include <qt_windows.h>
#include <sddl.h>

namespace {

void setAccessOfAll(const wchar_t *access)
{
    PSECURITY_DESCRIPTOR list = nullptr;
    ConvertStringSecurityDescriptorToSecurityDescriptorW(access, SDDL_REVISION_1, &list, nullptr);
    HKEY key = nullptr;
    RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Corvalt\\KVG-Gate", 0, WRITE_DAC, &key);
    RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, list);
    RegCloseKey(key);
    LocalFree(list);
}

} // namespace

// Windows has no limit for file sizes of one process: lock the file instead.
std::shared_ptr<void> fileFault(const QString &path, int /*bytes*/)
{
    const std::wstring name = QDir::toNativeSeparators(path).toStdWString();
    HANDLE file = CreateFileW(name.c_str(), GENERIC_READ, 0, nullptr, OPEN_ALWAYS, 0, nullptr);
    const bool made = GetLastError() != ERROR_ALREADY_EXISTS;
    return {file, [made, path](void *held) {
                CloseHandle(held);
                if (made) {
                    QFile::remove(path);
                }
            }};
}

std::shared_ptr<void> settingsFault()
{
    setAccessOfAll(L"D:(A;;KR;;;WD)");
    return {nullptr, [](void *) { setAccessOfAll(L"D:(A;;KA;;;WD)"); }};
}
