#include "plugins/host/hosttype.h"

#include "plugins/host/hostthing.h"

#include <QCryptographicHash>
#include <QSysInfo>

namespace {

const QString onlyKey = QStringLiteral("host");

// machine-id(5) asks programs to keep the machine's id confidential, so the serial is a hash of it
// that only this device type uses.
QString hostSerial()
{
    constexpr int digits = 12;
    QByteArray id = QSysInfo::machineUniqueId();
    if (id.isEmpty()) {
        id = QSysInfo::machineHostName().toUtf8();
    }
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData("pro.nimbra.kvg_gate/host/1:");
    hash.addData(id);
    return QString::fromLatin1(hash.result().toHex().left(digits));
}

} // namespace

QHash<QString, QVariant> HostType::discover()
{
    return {{onlyKey, QVariant()}};
}

QAbstractThing *HostType::create(const QString &key, const QVariant & /*descriptor*/,
                                 const QVariantHash &settings, QObject ** /*ui*/)
{
    return key == onlyKey ? new HostThing(hostSerial(), settings) : nullptr;
}

bool HostType::claims(const QString &key, const QAbstractThing *thing)
{
    return key == onlyKey && qobject_cast<const HostThing *>(thing) != nullptr;
}
