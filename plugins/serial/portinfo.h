#pragma once

#include <QString>
#include <QVector>

#include <optional>

// A serial port of this computer, and the USB device that it belongs to. A value.
struct PortInfo
{
    QString key;        // of this plugging: another one when the device is plugged in anew
    QString name;       // to open it, and to show
    quint16 vendor = 0; // USB ids; 0 at a port that is no USB port
    quint16 product = 0;
    QString usbSerial; // empty for a device without a serial number

    // Names the device as long as it says no serial of its own: USB serial number, else USB ids,
    // else name of the port.
    QString serial() const;

    // The USB serial ports. A few milliseconds, without opening any.
    static QVector<PortInfo> usbPorts();
    // Where ports come and go; empty where the system shows them in no folder.
    static QString folder();
    // The port of a name that the user wrote; absent when there is none.
    static std::optional<PortInfo> find(const QString &name);
};

// `text` as (part of) an identity: ASCII without the characters that ids must not contain, at most
// 64 characters. Empty when `text` has neither a Latin letter nor a digit.
QString identityText(const QString &text);
