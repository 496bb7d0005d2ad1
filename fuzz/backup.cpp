// The file of a backup, and the settings in it: what was read is written and read back alike.
#include "fuzz/fuzz.h"
#include "runner/backupcontainer.h"
#include "settings/settingsstore.h"
#include "settings/settingsstream.h"

#include <QDataStream>

namespace {

QByteArray store(const QVariantMap &values)
{
    SettingsStore store;
    require(store.replaceAll(values));
    QByteArray chunk;
    QDataStream stream(&chunk, QIODevice::WriteOnly);
    require(settingsstream::write(store, stream));
    return chunk;
}

} // namespace

void fuzz(const QByteArray &bytes)
{
    QVector<BackupContainer::Chunk> chunks;
    if (BackupContainer::unpack(bytes, chunks) != BackupContainer::None) {
        chunks = {{BackupContainer::Settings, bytes}}; // reaches the settings without a table
    }
    QVector<BackupContainer::Chunk> again;
    BackupContainer::unpack(BackupContainer::pack(chunks), again);
    require(again.size() == chunks.size());
    for (int i = 0; i < chunks.size(); ++i) {
        require(again.at(i).id == chunks.at(i).id && again.at(i).data == chunks.at(i).data);
        const auto values = settingsstream::parse(chunks.at(i).data);
        if (values) {
            const QByteArray chunk = store(*values);
            const auto read = settingsstream::parse(chunk);
            require(read && read->keys() == values->keys() && store(*read) == chunk);
        }
    }
}
