#include "tests/app/takenname.h"

#include <qt_windows.h>

TakenName::TakenName(const QString &name)
    : m_name("\\\\.\\pipe\\" + name)
{
    // One that takes but does not give, and that there may be one of: access is denied to both.
    m_pipe = CreateNamedPipeW(reinterpret_cast<const wchar_t *>(m_name.utf16()),
                              PIPE_ACCESS_INBOUND, PIPE_TYPE_BYTE, 1, 0, 0, 0, nullptr);
}

TakenName::~TakenName()
{
    CloseHandle(m_pipe);
}
