#include "plugins/serial/portinfo.h"

#include <QRegularExpression>

#include <array>

#include <windows.h>

#include <cfgmgr32.h>
#include <setupapi.h>

namespace {

// The constants of the headers lie in libraries that this program does not link.
constexpr GUID comPorts = {
    0x86e0d1e0, 0x8089, 0x11d0, {0x9c, 0xe4, 0x08, 0x00, 0x3e, 0x30, 0x1f, 0x73}};
constexpr DEVPROPKEY lastArrivalDate = {
    {0x83da6326, 0x97a6, 0x4088, {0x94, 0x53, 0xa1, 0x92, 0x3f, 0x57, 0x3b, 0x29}}, 102};

QString deviceId(DEVINST device)
{
    std::array<wchar_t, MAX_DEVICE_ID_LEN + 1> id{};
    return CM_Get_Device_IDW(device, id.data(), id.size(), 0) == CR_SUCCESS
               ? QString::fromWCharArray(id.data())
               : QString();
}

// The port is a USB device, or an interface or a function below it, which has no serial number.
void readUsb(PortInfo &port, DEVINST device)
{
    static const QRegularExpression pattern(R"(^USB\\VID_([0-9A-F]{4})&PID_([0-9A-F]{4})\\(.*)$)",
                                            QRegularExpression::CaseInsensitiveOption);
    for (int level = 0; level < 3; ++level) {
        const QRegularExpressionMatch match = pattern.match(deviceId(device));
        if (match.hasMatch()) {
            port.vendor = match.captured(1).toUShort(nullptr, 16);
            port.product = match.captured(2).toUShort(nullptr, 16);
            // Windows makes one up that depends on the socket, with "&", where there is none.
            const QString serial = match.captured(3);
            port.usbSerial = serial.contains(QLatin1Char('&')) ? QString() : serial;
            return;
        }
        if (CM_Get_Parent(&device, device, 0) != CR_SUCCESS) {
            return;
        }
    }
}

QString portName(HDEVINFO devices, SP_DEVINFO_DATA &device)
{
    const HKEY key =
        SetupDiOpenDevRegKey(devices, &device, DICS_FLAG_GLOBAL, 0, DIREG_DEV, KEY_READ);
    if (key == INVALID_HANDLE_VALUE) {
        return {};
    }
    std::array<wchar_t, 64> name{}; // RegGetValueW() ends it by a zero
    DWORD size = sizeof(name);
    const bool isKnown =
        RegGetValueW(key, nullptr, L"PortName", RRF_RT_REG_SZ, nullptr, name.data(), &size) == 0;
    RegCloseKey(key);
    return isKnown ? QString::fromWCharArray(name.data()) : QString();
}

} // namespace

QVector<PortInfo> PortInfo::usbPorts()
{
    QVector<PortInfo> ports;
    const HDEVINFO devices =
        SetupDiGetClassDevsW(&comPorts, nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE);
    SP_DEVINFO_DATA device = {};
    device.cbSize = sizeof(device);
    for (DWORD i = 0; SetupDiEnumDeviceInfo(devices, i, &device) != 0; ++i) {
        PortInfo port;
        port.name = portName(devices, device);
        readUsb(port, device.DevInst);
        DEVPROPTYPE type = 0;
        FILETIME arrival = {};
        SetupDiGetDevicePropertyW(devices, &device, &lastArrivalDate, &type,
                                  reinterpret_cast<BYTE *>(&arrival), sizeof(arrival), nullptr, 0);
        port.key = QStringLiteral("%1@%2-%3")
                       .arg(port.name)
                       .arg(arrival.dwHighDateTime)
                       .arg(arrival.dwLowDateTime);
        if (port.vendor != 0 && !port.name.isEmpty()) {
            ports.append(port);
        }
    }
    if (devices != INVALID_HANDLE_VALUE) {
        SetupDiDestroyDeviceInfoList(devices);
    }
    return ports;
}

QString PortInfo::folder()
{
    return {};
}

std::optional<PortInfo> PortInfo::find(const QString &name)
{
    const QVector<PortInfo> ports = usbPorts();
    for (const PortInfo &port : ports) {
        if (port.name.compare(name, Qt::CaseInsensitive) == 0) {
            PortInfo found = port;
            found.name = name;
            return found;
        }
    }
    static const QRegularExpression pattern(QStringLiteral("^COM[0-9]{1,3}$"),
                                            QRegularExpression::CaseInsensitiveOption);
    std::array<wchar_t, MAX_PATH> target{};
    if (!pattern.match(name).hasMatch() ||
        QueryDosDeviceW(reinterpret_cast<const wchar_t *>(name.utf16()), target.data(),
                        target.size()) == 0) {
        return {};
    }
    PortInfo port;
    port.name = name;
    port.key = name.toUpper();
    return port;
}
