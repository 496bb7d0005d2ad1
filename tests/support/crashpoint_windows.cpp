#include "tests/support/crashpoint.h"

#include <QCoreApplication>
#include <QProcess>
#include <qt_windows.h>

#include <cstring>
#define PSAPI_VERSION 2 // in kernel32
#include <psapi.h>
#include <winternl.h>

// Every change of a file or of the registry goes through one of these functions of ntdll. Their
// addresses in the import tables of all modules are replaced.

namespace {

using Function = LONG(NTAPI *)(ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR,
                               ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR);

constexpr const char *names[] = {
    "NtCreateFile", "NtWriteFile",   "NtSetInformationFile", "NtFlushBuffersFile", "NtDeleteFile",
    "NtCreateKey",  "NtSetValueKey", "NtDeleteValueKey",     "NtDeleteKey",        "NtRenameKey"};
Function originals[std::size(names)];
int callsLeft = 0;
bool endsHalf = false;

template <std::size_t index>
LONG NTAPI replacement(ULONG_PTR a, ULONG_PTR b, ULONG_PTR c, ULONG_PTR d, ULONG_PTR e, ULONG_PTR f,
                       ULONG_PTR g, ULONG_PTR h, ULONG_PTR i, ULONG_PTR j, ULONG_PTR k)
{
    const bool isWrite = std::strcmp(names[index], "NtWriteFile") == 0;
    const bool opensOnly = std::strcmp(names[index], "NtCreateFile") == 0 && h == FILE_OPEN &&
                           (i & FILE_DELETE_ON_CLOSE) == 0;
    const bool counts = endsHalf ? isWrite && g > 1 : !opensOnly;
    const bool isLast = counts && --callsLeft == 0;
    const ULONG_PTR size = isLast && endsHalf ? ULONG(g) / 2 : g; // the bytes to write
    const LONG result = originals[index](a, b, c, d, e, f, size, h, i, j, k);
    if (isLast) {
        TerminateProcess(GetCurrentProcess(), ERROR_PROCESS_ABORTED);
    }
    return result;
}

template <std::size_t... index>
void replace(HMODULE module, std::index_sequence<index...> /*all*/)
{
    const Function replacements[] = {replacement<index>...};
    auto *const base = reinterpret_cast<char *>(module);
    const auto *const headers = reinterpret_cast<IMAGE_NT_HEADERS *>(
        base + reinterpret_cast<IMAGE_DOS_HEADER *>(base)->e_lfanew);
    const IMAGE_DATA_DIRECTORY &imports = headers->OptionalHeader.DataDirectory[1];
    auto *library = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR *>(base + imports.VirtualAddress);
    for (; imports.Size != 0 && library->FirstThunk != 0; ++library) {
        auto *slot = reinterpret_cast<Function *>(base + library->FirstThunk);
        for (; *slot != nullptr; ++slot) {
            for (std::size_t i = 0; i < std::size(names); ++i) {
                DWORD access = PAGE_READWRITE;
                if (*slot == originals[i] &&
                    VirtualProtect(slot, sizeof *slot, access, &access) != 0) {
                    *slot = replacements[i];
                    VirtualProtect(slot, sizeof *slot, access, &access);
                }
            }
        }
    }
}

} // namespace

std::vector<crashpoint::End> crashpoint::ends()
{
    return {End::Half, End::After};
}

int crashpoint::nextCall(int call)
{
    return 8 * call;
}

bool crashpoint::isJob(int &exitCode)
{
    const QByteArray job = qgetenv("KVG_JOB");
    if (!job.isEmpty()) {
        const QByteArray output = runJob(job);
        exitCode = std::fwrite(output.constData(), 1, std::size_t(output.size()), stdout) ==
                           std::size_t(output.size())
                       ? EXIT_SUCCESS
                       : EXIT_FAILURE;
    }
    return !job.isEmpty();
}

void crashpoint::begin()
{
    callsLeft = qEnvironmentVariableIntValue("KVG_CALL");
    endsHalf = qEnvironmentVariableIntValue("KVG_END") == int(End::Half);
    for (std::size_t i = 0; i < std::size(names); ++i) {
        originals[i] = reinterpret_cast<Function>(
            reinterpret_cast<void *>(GetProcAddress(GetModuleHandleW(L"ntdll"), names[i])));
    }
    HMODULE modules[200];
    DWORD bytes = 0;
    EnumProcessModules(GetCurrentProcess(), modules, sizeof modules, &bytes);
    for (DWORD i = 0; i < bytes / sizeof(HMODULE); ++i) {
        replace(modules[i], std::make_index_sequence<std::size(names)>());
    }
}

crashpoint::Result crashpoint::run(const QByteArray &job, int call, End end)
{
    qputenv("KVG_JOB", job);
    qputenv("KVG_CALL", QByteArray::number(call));
    qputenv("KVG_END", QByteArray::number(int(end)));
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QCoreApplication::applicationFilePath(), QStringList());
    process.waitForFinished();
    qunsetenv("KVG_JOB");
    if (process.exitCode() != ERROR_PROCESS_ABORTED && process.exitCode() != EXIT_SUCCESS) {
        qFatal("the job failed");
    }
    return {process.readAllStandardOutput(), process.exitCode() == ERROR_PROCESS_ABORTED};
}
