#include "watch/crashhandler.h"

#include <QDir>

#include <windows.h>

#include <atomic>
#include <csignal>
#include <cwchar>
#include <string>

namespace {

constexpr int maxFrames = 500;
constexpr DWORD gccThrow = 0x20474343; // GCC's runtime asks by it whether anything catches

HANDLE recordFile = INVALID_HANDLE_VALUE;
LPTOP_LEVEL_EXCEPTION_FILTER previousFilter = nullptr;
QtMessageHandler previousMessages = nullptr;
std::atomic_flag isNoted = ATOMIC_FLAG_INIT; // a second fault, on a broken stack, changes nothing

void noteModuleAt(DWORD64 address)
{
    static wchar_t path[MAX_PATH];
    static char name[256];
    void *base = nullptr;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): registers hold numbers
    RtlPcToFileHeader(reinterpret_cast<void *>(address), &base);
    if (base == nullptr || GetModuleFileNameW(HMODULE(base), path, MAX_PATH - 1) == 0) {
        return;
    }
    const wchar_t *const last = std::wcsrchr(path, L'\\');
    WideCharToMultiByte(CP_UTF8, 0, last != nullptr ? last + 1 : path, -1, name, sizeof(name) - 1,
                        nullptr, nullptr);
    noteCrashModule(name);
}

// `skipped`: the handler's own frames. `context` is used up.
void note(int code, CONTEXT &context, int skipped)
{
    if (isNoted.test_and_set()) {
        return;
    }
    noteCrash(code);
    for (int frame = 0; frame < maxFrames; ++frame) {
        if (frame == skipped) {
            noteModuleAt(context.Rip);
        }
        if (noteCrashFrame(context.Rip)) {
            return;
        }
        DWORD64 base = 0;
        RUNTIME_FUNCTION *const function = RtlLookupFunctionEntry(context.Rip, &base, nullptr);
        if (function != nullptr) {
            void *handlerData = nullptr;
            DWORD64 establisher = 0;
            RtlVirtualUnwind(UNW_FLAG_NHANDLER, base, context.Rip, function, &context, &handlerData,
                             &establisher, nullptr);
        } else if (frame == 0) { // a leaf, or a call of no function
            // NOLINTNEXTLINE(performance-no-int-to-ptr)
            context.Rip = *reinterpret_cast<const DWORD64 *>(context.Rsp);
            context.Rsp += sizeof(DWORD64);
        } else {
            return;
        }
    }
}

LONG WINAPI handleException(EXCEPTION_POINTERS *exception)
{
    const DWORD code = exception->ExceptionRecord->ExceptionCode;
    if (code != gccThrow) {
        CONTEXT context = *exception->ContextRecord;
        note(int(code), context, 0);
    }
    return previousFilter != nullptr ? previousFilter(exception) : EXCEPTION_CONTINUE_SEARCH;
}

// abort() ends the process when this returns.
void handleAbort(int number)
{
    CONTEXT context;
    RtlCaptureContext(&context);
    note(number, context, 1);
}

// qFatal() ends the process by an exception that no handler sees.
void handleMessage(QtMsgType type, const QMessageLogContext &where, const QString &text)
{
    previousMessages(type, where, text);
    if (type == QtFatalMsg) {
        CONTEXT context;
        RtlCaptureContext(&context);
        note(SIGABRT, context, 1);
    }
}

} // namespace

bool openRecordFile(const QString &path, const void *bytes, int size)
{
    const std::wstring name = QDir::toNativeSeparators(path).toStdWString();
    const std::wstring temporary = name + L".new";
    const auto open = [](const std::wstring &file, DWORD disposition) {
        recordFile = CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, disposition,
                                 FILE_ATTRIBUTE_NORMAL, nullptr);
        return recordFile != INVALID_HANDLE_VALUE;
    };
    if (!open(temporary, CREATE_ALWAYS)) {
        return false;
    }
    DWORD written = 0;
    const bool isWritten =
        WriteFile(recordFile, bytes, DWORD(size), &written, nullptr) != 0 && written == DWORD(size);
    closeRecordFile(); // an open file cannot be moved
    return isWritten &&
           MoveFileExW(temporary.c_str(), name.c_str(), MOVEFILE_REPLACE_EXISTING) != 0 &&
           open(name, OPEN_EXISTING);
}

void writeRecordFile(const void *bytes, int size, int position)
{
    OVERLAPPED where = {};
    where.Offset = DWORD(position);
    DWORD written = 0;
    WriteFile(recordFile, bytes, DWORD(size), &written, &where);
}

void closeRecordFile()
{
    CloseHandle(recordFile);
    recordFile = INVALID_HANDLE_VALUE;
}

void installCrashHandler()
{
    previousFilter = SetUnhandledExceptionFilter(handleException);
    std::signal(SIGABRT, handleAbort);
    previousMessages = qInstallMessageHandler(handleMessage);
}

void guardStack()
{
    ULONG bytes = 64 * 1024;
    SetThreadStackGuarantee(&bytes);
}

AddressRange libraryAt(const void *address)
{
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            static_cast<const wchar_t *>(address), &module)) {
        return {};
    }
    const auto *const bytes = reinterpret_cast<const char *>(module);
    const auto *const dos = reinterpret_cast<const IMAGE_DOS_HEADER *>(bytes);
    const auto *const nt = reinterpret_cast<const IMAGE_NT_HEADERS *>(bytes + dos->e_lfanew);
    const auto begin = reinterpret_cast<quintptr>(bytes);
    return {begin, begin + nt->OptionalHeader.SizeOfImage};
}
