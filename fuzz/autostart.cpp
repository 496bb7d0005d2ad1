// The entry in the autostart folder, which other programs write, too; and any command in it.
#include "app/platform/autostartentry.h"
#include "fuzz/fuzz.h"

#include <QDir>
#include <QStandardPaths>

void fuzz(const QByteArray &bytes)
{
    const QString name = QStringLiteral("kvg-gate");
    const QString command = autostartentry::commandFor(QString::fromUtf8(bytes));
    autostartentry::write(name, command);
    require(autostartentry::read(name) == command);
    QFile file(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
               QLatin1String("/autostart/kvg-gate.desktop"));
    require(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    file.close();
    require(autostartentry::read(name).size() <= bytes.size());
}
