#include "plugins/serial/serialport.h"

#include <array>

#include <windows.h>

namespace {

// An overlapped call. Its memory must live until the system has ended the call.
struct Transfer
{
    Transfer() { call.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr); }
    ~Transfer() { CloseHandle(call.hEvent); }
    Q_DISABLE_COPY(Transfer)

    // False when it has failed, also without an effect of this call.
    bool begin(BOOL result)
    {
        isRunning = result != 0 || GetLastError() == ERROR_IO_PENDING;
        return isRunning;
    }
    bool isDone() const { return isRunning && HasOverlappedIoCompleted(&call); }
    // Waits for the end. -1 when it has failed.
    int end(HANDLE port)
    {
        DWORD size = 0;
        isRunning = false;
        return GetOverlappedResult(port, &call, &size, TRUE) != 0 ? static_cast<int>(size) : -1;
    }

    OVERLAPPED call = {};
    QByteArray data;
    bool isRunning = false;
};

} // namespace

struct SerialPort::System
{
    HANDLE port = INVALID_HANDLE_VALUE;
    const HANDLE wake = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    Transfer reading;
    Transfer writing;
};

SerialPort::SerialPort()
    : m_system(std::make_unique<System>())
{
}

SerialPort::~SerialPort()
{
    CloseHandle(m_system->wake);
}

SerialPort::Result SerialPort::open(const QString &name, int speed)
{
    const QString path = QStringLiteral("\\\\.\\") + name;
    HANDLE &port = m_system->port;
    port =
        CreateFileW(reinterpret_cast<const wchar_t *>(path.utf16()), GENERIC_READ | GENERIC_WRITE,
                    0, nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
    if (port == INVALID_HANDLE_VALUE) {
        // Windows says the same for a port that another program has open.
        return GetLastError() == ERROR_ACCESS_DENIED ? Result::Busy : Result::Failed;
    }
    DCB settings = {};
    settings.DCBlength = sizeof(settings);
    const QString text = QStringLiteral("baud=%1 parity=n data=8 stop=1 xon=off octs=off odsr=off "
                                        "idsr=off dtr=on rts=on")
                             .arg(speed);
    if (GetCommState(port, &settings) == 0 ||
        BuildCommDCBW(reinterpret_cast<const wchar_t *>(text.utf16()), &settings) == 0) {
        return Result::Failed;
    }
    // Reading waits for a byte, and ends after 10 ms without another one.
    COMMTIMEOUTS timeouts = {10, 0, 0, 0, 0};
    return SetCommState(port, &settings) != 0 && SetCommTimeouts(port, &timeouts) != 0
               ? Result::Opened
               : Result::Failed;
}

bool SerialPort::exchange(QByteArray &input, int maxInput, QByteArray &output,
                          std::chrono::milliseconds timeout)
{
    input.clear();
    Transfer &reading = m_system->reading;
    Transfer &writing = m_system->writing;
    if (!reading.isRunning && maxInput > 0) {
        reading.data.resize(maxInput);
        if (!reading.begin(ReadFile(m_system->port, reading.data.data(),
                                    static_cast<DWORD>(maxInput), nullptr, &reading.call))) {
            return false;
        }
    }
    if (!writing.isRunning && !output.isEmpty()) {
        writing.data = output;
        if (!writing.begin(WriteFile(m_system->port, writing.data.constData(),
                                     static_cast<DWORD>(writing.data.size()), nullptr,
                                     &writing.call))) {
            return false;
        }
    }
    std::array<HANDLE, 3> events{m_system->wake};
    DWORD count = 1;
    for (const Transfer *const transfer : {&reading, &writing}) {
        if (transfer->isRunning) {
            events.at(count++) = transfer->call.hEvent;
        }
    }
    const DWORD wait = timeout.count() < 0 ? INFINITE : static_cast<DWORD>(timeout.count());
    if (WaitForMultipleObjects(count, events.data(), FALSE, wait) == WAIT_FAILED) {
        return false;
    }
    if (writing.isDone()) {
        const int size = writing.end(m_system->port);
        output.remove(0, qMax(size, 0));
        if (size < 0) {
            return false;
        }
    }
    if (reading.isDone()) {
        const int size = reading.end(m_system->port);
        input = reading.data.left(qMax(size, 0));
        return size >= 0;
    }
    return true;
}

void SerialPort::close()
{
    HANDLE &port = m_system->port;
    if (port != INVALID_HANDLE_VALUE) {
        CancelIoEx(port, nullptr);
        for (Transfer *const transfer : {&m_system->reading, &m_system->writing}) {
            if (transfer->isRunning) {
                transfer->end(port);
            }
        }
        CloseHandle(port);
        port = INVALID_HANDLE_VALUE;
    }
}

void SerialPort::wake()
{
    SetEvent(m_system->wake);
}
