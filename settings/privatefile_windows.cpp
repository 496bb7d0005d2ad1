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

FileHandle opened(HANDLE handle)
{
    return FileHandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

// Asks the system for a text of unknown length. Empty when it has none.
template <typename Ask>
QString systemText(Ask ask)
{
    std::vector<wchar_t> text(MAX_PATH);
    for (;;) {
        const DWORD size = ask(text.data(), DWORD(text.size()));
        if (size < text.size()) {
            return QString::fromWCharArray(text.data(), int(size));
        }
        text.resize(size + 1U);
    }
}

// The file as the system names it, of any length; empty when it is a device or a stream of a file.
QString fullName(const QString &path)
{
    const QLatin1String anyLength("\\\\?\\");
    const QString native = QDir::toNativeSeparators(path);
    const QString full = systemText([&native](wchar_t *text, DWORD size) {
        return GetFullPathNameW(wide(native), size, text, nullptr);
    });
    const int driveEnd = full.startsWith(anyLength) ? 5 : 1;
    if (full.isEmpty() || full.startsWith(QLatin1String("\\\\.\\")) ||
        full.lastIndexOf(QLatin1Char(':')) > driveEnd || path.contains(QChar(QChar::Null))) {
        return {};
    }
    if (full.startsWith(anyLength)) {
        return full;
    }
    return full.startsWith(QLatin1String("\\\\")) ? anyLength + QLatin1String("UNC") + full.mid(1)
                                                  : anyLength + full;
}

// Of the file itself when `name` is a link to it. Takes no part in the sharing of the file.
FileHandle look(const QString &name)
{
    return opened(CreateFileW(wide(name), FILE_READ_ATTRIBUTES,
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

// What a new file is to be made with: its folder's access is not inherited. The system itself has
// access too, as to other people's keys: its backups and scanners run under that name.
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
            // else the administrators own what one of them makes
            SetSecurityDescriptorOwner(&m_descriptor, user, FALSE) != 0 &&
            SetSecurityDescriptorDacl(&m_descriptor, TRUE, list, FALSE) != 0 &&
            SetSecurityDescriptorControl(&m_descriptor, SE_DACL_PROTECTED, SE_DACL_PROTECTED) != 0;
    }
    Q_DISABLE_COPY(PrivateAccess)

    // Null, with the system's error set, when that could not be found out.
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

// The system's error.
DWORD replace(const QString &name, const QByteArray &bytes)
{
    PrivateAccess access;
    SECURITY_ATTRIBUTES *const attributes = access.attributes();
    if (attributes == nullptr) {
        return GetLastError();
    }
    QString place = name + QLatin1Char('.'); // secureSettings() knows this form of a name
    for (int letter = 0; letter < 6; ++letter) {
        place += QLatin1Char(char('a' + QRandomGenerator::system()->bounded(26)));
    }
    FileHandle file = opened(CreateFileW(wide(place), GENERIC_WRITE, 0, attributes, CREATE_NEW,
                                         FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        return GetLastError();
    }
    DWORD error = writeAll(file.get(), bytes) ? ERROR_SUCCESS : GetLastError();
    file.reset();
    if (error == ERROR_SUCCESS &&
        MoveFileExW(wide(place), wide(name), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) ==
            0) {
        error = GetLastError();
    }
    if (error != ERROR_SUCCESS) {
        DeleteFileW(wide(place));
    }
    return error;
}

} // namespace

bool isRegularFile(const QString &path)
{
    const QString name = fullName(path);
    const FileHandle file = name.isEmpty() ? FileHandle() : look(name);
    return file && isFile(file.get());
}

bool replacePrivateFile(const QString &path, const QByteArray &bytes, QString &error)
{
    QString name = fullName(path);
    FileHandle older = name.isEmpty() ? FileHandle() : look(name);
    if (older && (GetFileAttributesW(wide(name)) & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        // A link stays, and its file is replaced.
        name = systemText([&older](wchar_t *text, DWORD size) {
            return GetFinalPathNameByHandleW(older.get(), text, size, FILE_NAME_NORMALIZED);
        });
    }
    if (name.isEmpty() || (older && !isFile(older.get()))) {
        error = QStringLiteral("not a regular file");
        return false;
    }
    older.reset(); // or it could not be replaced
    const DWORD code = replace(name, bytes);
    if (code != ERROR_SUCCESS) {
        error = qt_error_string(int(code));
    }
    return code == ERROR_SUCCESS;
}
