// The record of the runs before, which decides what the next start leaves out.
#include "watch/runrecord.h"
#include "fuzz/fuzz.h"
#include "watch/runwatch.h"

#include <QDateTime>
#include <QFileInfo>
#include <QStandardPaths>

#include <cstring>

void fuzz(const QByteArray &bytes)
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::HomeLocation);
    const QByteArray plugin = QFile::encodeName(folder + QLatin1String("/thing.so"));
    QFile(plugin).open(QIODevice::WriteOnly | QIODevice::Append);
    QByteArray record = bytes;
    if (bytes.startsWith("KVGRUN1")) { // of the full size, with plugins whose files are there
        record = bytes.leftJustified(int(sizeof(RunRecord)), '\0');
        auto &run = *reinterpret_cast<RunRecord *>(record.data());
        for (PluginRecord &each : run.plugins) {
            if (each.path[0] == '+') {
                std::strcpy(each.path, plugin.constData());
                each.size = 0;
                each.modified = QFileInfo(plugin).lastModified().toMSecsSinceEpoch();
            }
        }
    }
    QFile file(folder + QLatin1String("/run.state"));
    require(file.open(QIODevice::WriteOnly) && file.write(record) == record.size());
    file.close();
    const runwatch::StartPlan plan = runwatch::begin(file.fileName());
    runwatch::end();
    const runwatch::StartPlan next = runwatch::begin(file.fileName());
    runwatch::end();
    require(next.withoutLayout == plan.withoutLayout);
    require(next.plugins.size() == plan.plugins.size());
    for (int i = 0; i < plan.plugins.size(); ++i) {
        require(QFileInfo(plan.plugins.at(i).path).isFile());
        require(next.plugins.at(i).path == plan.plugins.at(i).path);
        require(next.plugins.at(i).reason == plan.plugins.at(i).reason);
    }
}
