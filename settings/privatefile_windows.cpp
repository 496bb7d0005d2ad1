#include "settings/privatefile.h"

#include <QDir>
#include <QRandomGenerator>
#include <qt_windows.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

struct CloseFile
{
    using pointer = HANDLE;
    void operator()(HANDLE file) const { CloseHandle(file); }
};
using FileHandle = std::unique_ptr<HANDLE, CloseFile>;

const wchar_t *wide(const QString &text)
{
    return reinterpret_cast<const wchar_t *>(text.utf16());
}

FileHandle toFileHandle(HANDLE handle)
{
    return FileHandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

// Calls a Windows function that fills a buffer, with a larger buffer until it is large enough.
// Empty when the function fails.
template <typename Function>
QString readText(Function function)
{
    std::vector<wchar_t> text(MAX_PATH);
    for (;;) {
        const DWORD size = function(text.data(), DWORD(text.size()));
        if (size < text.size()) {
            return QString::fromWCharArray(text.data(), int(size));
        }
        text.resize(size + 1U);
    }
}

// The absolute path in the form that has no length limit; empty for a device or a file's stream.
QString fullPath(const QString &path)
{
    const QLatin1String noLimit("\\\\?\\");
    const QString native = QDir::toNativeSeparators(path);
    const QString full = readText([&native](wchar_t *text, DWORD size) {
        return GetFullPathNameW(wide(native), size, text, nullptr);
    });
    const int driveEnd = full.startsWith(noLimit) ? 5 : 1;
    if (full.isEmpty() || full.startsWith(QLatin1String("\\\\.\\")) ||
        full.lastIndexOf(QLatin1Char(':')) > driveEnd || path.contains(QChar(QChar::Null))) {
        return {};
    }
    if (full.startsWith(noLimit)) {
        return full;
    }
    return full.startsWith(QLatin1String("\\\\")) ? noLimit + QLatin1String("UNC") + full.mid(1)
                                                  : noLimit + full;
}

// Opens the file, or a link's target, for its attributes only, which conflicts with no other
// access.
FileHandle openAttributes(const QString &name)
{
    return toFileHandle(CreateFileW(wide(name), FILE_READ_ATTRIBUTES,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
}

bool isFile(HANDLE handle)
{
    BY_HANDLE_FILE_INFORMATION about;
    return GetFileType(handle) == FILE_TYPE_DISK &&
           GetFileInformationByHandle(handle, &about) != 0 &&
           (about.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

// The access list of a new file, which does not inherit its folder's: this user, and the system
// account, under which backups and virus scanners run.
class PrivateAccess
{
public:
    PrivateAccess()
    {
        HANDLE token = nullptr;
        OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token);
        const FileHandle closed(token);
        DWORD size = sizeof m_user;
        DWORD systemSize = sizeof m_system;
        m_good = GetTokenInformation(token, TokenUser, m_user, size, &size) != 0 &&
                 CreateWellKnownSid(WinLocalSystemSid, nullptr, m_system, &systemSize) != 0;
        const PSID user = reinterpret_cast<TOKEN_USER *>(m_user)->User.Sid;
        const auto list = reinterpret_cast<PACL>(m_list);
        m_good =
            m_good && InitializeAcl(list, sizeof m_list, ACL_REVISION) != 0 &&
            AddAccessAllowedAce(list, ACL_REVISION, FILE_ALL_ACCESS, user) != 0 &&
            AddAccessAllowedAce(list, ACL_REVISION, FILE_ALL_ACCESS, m_system) != 0 &&
            InitializeSecurityDescriptor(&m_descriptor, SECURITY_DESCRIPTOR_REVISION) != 0 &&
            // the default owner of an administrator's file is the administrators' group
            SetSecurityDescriptorOwner(&m_descriptor, user, FALSE) != 0 &&
            SetSecurityDescriptorDacl(&m_descriptor, TRUE, list, FALSE) != 0 &&
            SetSecurityDescriptorControl(&m_descriptor, SE_DACL_PROTECTED, SE_DACL_PROTECTED) != 0;
    }
    Q_DISABLE_COPY(PrivateAccess)

    // Null, with GetLastError() set, on failure.
    SECURITY_ATTRIBUTES *attributes() { return m_good ? &m_attributes : nullptr; }

private:
    alignas(TOKEN_USER) BYTE m_user[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE] = {};
    alignas(DWORD) BYTE m_system[SECURITY_MAX_SID_SIZE] = {};
    alignas(ACL) BYTE m_list[256] = {};
    SECURITY_DESCRIPTOR m_descriptor = {};
    SECURITY_ATTRIBUTES m_attributes = {sizeof m_attributes, &m_descriptor, FALSE};
    bool m_good = false;
};

bool writeAll(HANDLE file, const QByteArray &bytes)
{
    DWORD written = 0;
    for (int at = 0; at < bytes.size(); at += int(written)) {
        const DWORD wanted = DWORD(bytes.size() - at);
        if (WriteFile(file, bytes.constData() + at, wanted, &written, nullptr) == 0) {
            return false;
        }
        if (written == 0) {
            SetLastError(ERROR_DISK_FULL);
            return false;
        }
    }
    return FlushFileBuffers(file) != 0;
}

// Replaces the file by the other one; returns the Windows error code. Virus scanners, indexers and
// backup programs open a file for a moment, and a file that is open cannot be replaced.
DWORD moveOver(const QString &from, const QString &to)
{
    constexpr DWORD wait = 20; // ms
    for (int tries = 10;; --tries) {
        if (MoveFileExW(wide(from), wide(to), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) !=
            0) {
            return ERROR_SUCCESS;
        }
        const DWORD error = GetLastError();
        if (tries == 0 || (error != ERROR_ACCESS_DENIED && error != ERROR_SHARING_VIOLATION)) {
            return error;
        }
        Sleep(wait);
    }
}

// Returns the Windows error code.
DWORD replace(const QString &name, const QByteArray &bytes)
{
    PrivateAccess access;
    SECURITY_ATTRIBUTES *const attributes = access.attributes();
    if (attributes == nullptr) {
        return GetLastError();
    }
    QString temporary = name + QLatin1Char('.'); // sanitizeStoredSettings() knows such names
    for (int letter = 0; letter < 6; ++letter) {
        temporary += QLatin1Char(char('a' + QRandomGenerator::system()->bounded(26)));
    }
    FileHandle file = toFileHandle(CreateFileW(wide(temporary), GENERIC_WRITE, 0, attributes,
                                               CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        return GetLastError();
    }
    DWORD error = writeAll(file.get(), bytes) ? ERROR_SUCCESS : GetLastError();
    file.reset();
    if (error == ERROR_SUCCESS) {
        error = moveOver(temporary, name);
    }
    if (error != ERROR_SUCCESS) {
        DeleteFileW(wide(temporary));
    }
    return error;
}

} // namespace

bool isRegularFile(const QString &path)
{
    const QString name = fullPath(path);
    const FileHandle file = name.isEmpty() ? FileHandle() : openAttributes(name);
    return file && isFile(file.get());
}

bool replacePrivateFile(const QString &path, const QByteArray &bytes, QString &error)
{
    QString name = fullPath(path);
    FileHandle old = name.isEmpty() ? FileHandle() : openAttributes(name);
    if (old && (GetFileAttributesW(wide(name)) & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        // Replace the link's target, not the link.
        name = readText([&old](wchar_t *text, DWORD size) {
            return GetFinalPathNameByHandleW(old.get(), text, size, FILE_NAME_NORMALIZED);
        });
    }
    if (name.isEmpty() || (old && !isFile(old.get()))) {
        error = QStringLiteral("not a regular file");
        return false;
    }
    old.reset(); // an open file cannot be replaced
    const DWORD code = replace(name, bytes);
    if (code != ERROR_SUCCESS) {
        error = qt_error_string(int(code));
    }
    return code == ERROR_SUCCESS;
}
