#include "tests/support/fileaccess.h"

#include <QDir>
#include <QRegularExpression>
#include <aclapi.h>
#include <qt_windows.h>
#include <sddl.h>

bool isPrivate(const QString &path)
{
    const auto parts = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
    PSECURITY_DESCRIPTOR access = nullptr;
    wchar_t *text = nullptr;
    GetNamedSecurityInfoW(QDir::toNativeSeparators(path).toStdWString().data(), SE_FILE_OBJECT,
                          parts, nullptr, nullptr, nullptr, nullptr, &access);
    if (access != nullptr) {
        ConvertSecurityDescriptorToStringSecurityDescriptorW(access, SDDL_REVISION_1, parts, &text,
                                                             nullptr);
    }
    // One entry for the owner, one for the system.
    static const QRegularExpression alone("^O:(.+?)D:\\w*(\\(A;;\\w+;;;(\\1|SY)\\))+$");
    const QString found = text == nullptr ? QString() : QString::fromWCharArray(text);
    LocalFree(text);
    LocalFree(access);
    return alone.match(found).hasMatch();
}

void openToEverybody(const QString &path)
{
    PSECURITY_DESCRIPTOR access = nullptr;
    ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:(A;OICI;GA;;;WD)", SDDL_REVISION_1,
                                                         &access, nullptr);
    SetFileSecurityW(QDir::toNativeSeparators(path).toStdWString().data(),
                     DACL_SECURITY_INFORMATION, access);
    LocalFree(access);
}
