#pragma once

#include "runner/backupcontainer.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QString>
#include <QVector>

struct BackupSummary;
class GatewayThing;
class LiveThings;

// The backup of settings and credentials as a file, and the restore of one. Lives on the runner's
// thread. Errors are returned as the user's sentence; the log says more.
class ConfigurationBackup
{
    Q_DECLARE_TR_FUNCTIONS(ConfigurationBackup)

public:
    // Writes a file that the user alone can read, with the key without pass phrase. An older file
    // of that name stays whole until the new one is complete. Empty on success.
    [[nodiscard]] static QString write(const QString &path, const GatewayThing &gateway);

    // Reads a backup and checks it as far as that is possible without replacing anything. Empty on
    // success.
    [[nodiscard]] QString open(const QString &path);
    // As open(), but checks every chunk and fills `summary`. `present`: the running gateway.
    [[nodiscard]] QString inspect(const QString &path, const GatewayThing &present,
                                  BackupSummary &summary);
    // The whole file.
    const QByteArray &bytes() const { return m_bytes; }
    // Replaces settings, certificate and key in the order of the file, up to the first that cannot
    // be replaced; the live things take over the restored ids. Empty when all were replaced.
    [[nodiscard]] QString restore(LiveThings &things);
    // Whether restore() has replaced anything.
    bool hasRestored() const { return m_hasRestored; }

    // Replaces the settings, the certificate or the key by the chunk. False, with a log line, when
    // its data are unusable or cannot be written.
    [[nodiscard]] static bool storeChunk(GatewayThing &gateway,
                                         const BackupContainer::Chunk &chunk);

private:
    // As far as that can be told without writing.
    static bool isUsable(const BackupContainer::Chunk &chunk);
    QString unusable(const BackupContainer::Chunk &chunk) const;

    QString m_name; // of the file, for the user
    QByteArray m_bytes;
    QVector<BackupContainer::Chunk> m_chunks;
    bool m_hasRestored = false;
};
