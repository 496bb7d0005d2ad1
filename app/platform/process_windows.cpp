#include "app/platform/process.h"

#include <QLibrary>
#include <QTextCodec>

#include <qt_windows.h>

void prepareProcess()
{
    // Beside the executable and in the system's folder: a library that lies in the current folder
    // or on the PATH is none of ours.
    // A Windows 7 that was never updated has no such function.
    const auto search = reinterpret_cast<BOOL(WINAPI *)(DWORD)>(
        QLibrary::resolve(QStringLiteral("kernel32"), "SetDefaultDllDirectories"));
    if (search != nullptr) {
        search(LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
    }
    // A library that does not load and a drive without a disk are reported to the caller; a box
    // would wait for a user who is not there.
    SetErrorMode(GetErrorMode() | SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
    // Other software leaves the paths of its own toolkit in everybody's environment.
    qunsetenv("QT_PLUGIN_PATH");
    qunsetenv("QT_QPA_PLATFORM_PLUGIN_PATH");
    // The manifest asks for this code page. The toolkit's codec for the system's calls Windows with
    // arguments that it refuses for UTF-8, and gives empty texts.
    if (GetACP() == CP_UTF8) {
        QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    }
}
