#pragma once

#include <QByteArray>
#include <QString>

#include <chrono>
#include <memory>

// An open serial port, for this program alone: 8 data bits, no parity, no flow control. DTR is set,
// because boards with native USB send nothing without it. On Linux it stays set at the end: many
// boards reset whenever it changes. Used by one thread, except wake().
class SerialPort
{
public:
    enum class Result { Opened, Denied, Busy, Failed };

    SerialPort();
    ~SerialPort(); // after close()
    Q_DISABLE_COPY(SerialPort)

    // Called once. May block for as long as a driver hangs.
    Result open(const QString &name, int speed);
    // Waits until `maxInput` is not 0 and bytes have come, `output` could be sent in part, or
    // wake() was called; at most for `timeout`, negative: forever. Sets `input` to what has come,
    // and removes from `output` what was sent. False when the port is gone.
    bool exchange(QByteArray &input, int maxInput, QByteArray &output,
                  std::chrono::milliseconds timeout);
    // Does not send what is still in the system's buffer.
    void close();
    // Ends the present or the next exchange(). Any thread, also before open().
    void wake();

private:
    struct System;
    const std::unique_ptr<System> m_system;
};
