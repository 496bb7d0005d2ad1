#pragma once

#include <QStringList>
#include <QVariantHash>

#include <chrono>

struct PortInfo;

// The type's settings, checked: the default replaces a value that is missing, of a wrong type or
// out of range.
struct SerialSettings
{
    enum Ports { Off, KnownBoards, AllUsb, Listed };
    static constexpr int maxListed = 100;
    static constexpr int minWait = 4; // seconds: boards reset when their port is opened

    SerialSettings() = default; // opens no port
    explicit SerialSettings(const QVariantHash &values);

    bool isChosen(const PortInfo &port) const;

    Ports ports = Off;
    QStringList listed;            // names of ports
    int speed = 115200;            // baud
    std::chrono::seconds wait{10}; // for the first line
};
