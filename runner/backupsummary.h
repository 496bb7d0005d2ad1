#pragma once

#include <QDateTime>
#include <QMetaType>
#include <QString>

// What a backup file holds: a value for the interface. Its texts come from the file.
struct BackupSummary
{
    enum Registration {
        None,
        Present, // that of the gateway which runs now
        Other
    };

    QString file;
    QDateTime fileTime; // the last change of the file: it holds no date of its own
    QString version;    // of the program that wrote it; empty when that is unknown
    QString alias;      // of the gateway
    int devices = 0;
    Registration registration = None;
    bool hasCertificate = false;
    bool hasKey = false;
};

Q_DECLARE_METATYPE(BackupSummary)
