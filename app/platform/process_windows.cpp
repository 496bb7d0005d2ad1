#include "app/platform/process.h"

#include <QLibrary>
#include <QTextCodec>

#include <qt_windows.h>

void prepareProcess()
{
    // Search the executable's and the system's folder, not the current folder and the PATH.
    // A Windows 7 without updates does not have the function.
    const auto setDirectories = reinterpret_cast<BOOL(WINAPI *)(DWORD)>(
        QLibrary::resolve(QStringLiteral("kernel32"), "SetDefaultDllDirectories"));
    if (setDirectories != nullptr) {
        setDirectories(LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
    }
    // Report a missing library or disk to the caller only: a box would wait for the user.
    SetErrorMode(GetErrorMode() | SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
    // Other software sets these for its own Qt, in the environment of every program.
    qunsetenv("QT_PLUGIN_PATH");
    qunsetenv("QT_QPA_PLATFORM_PLUGIN_PATH");
    // The manifest sets this code page. Qt's codec for the system's code page passes flags that
    // Windows rejects for UTF-8, and returns empty texts.
    if (GetACP() == CP_UTF8) {
        QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    }
}

void releaseFreeMemory() {} // the heap of Windows does so by itself
