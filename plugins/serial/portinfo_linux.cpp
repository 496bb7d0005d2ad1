#include "plugins/serial/portinfo.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

namespace {

const QString ttyClass = QStringLiteral("/sys/class/tty/");

QString attribute(const QString &folder, const char *name)
{
    constexpr qint64 maxSize = 512;
    QFile file(folder + QLatin1Char('/') + QLatin1String(name));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.read(maxSize)).trimmed()
                                          : QString();
}

// "device" is an interface of the USB device, or for some drivers a folder in it.
void readUsb(PortInfo &port, const QString &ttyName)
{
    QString folder = QFileInfo(ttyClass + ttyName + QStringLiteral("/device")).canonicalFilePath();
    for (int level = 0; level < 3 && !folder.isEmpty(); ++level) {
        const QString vendor = attribute(folder, "idVendor");
        if (!vendor.isEmpty()) {
            port.vendor = vendor.toUShort(nullptr, 16);
            port.product = attribute(folder, "idProduct").toUShort(nullptr, 16);
            port.usbSerial = attribute(folder, "serial");
            // The kernel counts the devices of a bus.
            port.key += QLatin1Char('@') + attribute(folder, "busnum") + QLatin1Char('-') +
                        attribute(folder, "devnum");
            return;
        }
        folder.truncate(folder.lastIndexOf(QLatin1Char('/')));
    }
}

} // namespace

QVector<PortInfo> PortInfo::usbPorts()
{
    QVector<PortInfo> ports;
    const QStringList names = QDir(ttyClass).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    for (const QString &tty : names) {
        PortInfo port;
        port.name = port.key = QStringLiteral("/dev/") + tty;
        readUsb(port, tty);
        if (port.vendor != 0) {
            ports.append(port);
        }
    }
    return ports;
}

QString PortInfo::folder()
{
    return QStringLiteral("/dev");
}

std::optional<PortInfo> PortInfo::find(const QString &name)
{
    const QString file = QFileInfo(name).canonicalFilePath();
    struct stat status = {};
    if (!QDir::isAbsolutePath(name) || stat(QFile::encodeName(file).constData(), &status) != 0 ||
        !S_ISCHR(status.st_mode)) {
        return {};
    }
    PortInfo port;
    port.name = name;
    port.key = file;
    readUsb(port, file.section(QLatin1Char('/'), -1));
    return port;
}
