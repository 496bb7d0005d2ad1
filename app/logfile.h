#pragma once

#include <QString>

// The log file: while the object lives, Qt's message handler also appends every message but debug
// ones to it, as "2026-01-31 12:00:00.123 W kvg.cloud text": local time, the level's initial, the
// category.
//
// A full file replaces "kvg-gate.log.1", and long texts are cut. Only this user can read the files.
// Each line is written at once; while that fails, the first hundred lines wait in memory. One
// object at a time, created and destroyed on the main thread after the application's name is set;
// messages may come from any thread.
class LogFile
{
public:
    // Keeps the first messages in memory: a second instance never calls open() and must not write.
    LogFile();
    ~LogFile();
    Q_DISABLE_COPY(LogFile)

    // Writes a line with the program's version, then the messages kept so far.
    void open();

    // The folder of the files, in the user's data directory.
    static QString folder();

    static constexpr qint64 maxFileSize = 1024LL * 1024; // bytes
    static constexpr int maxTextLength = 2000;           // characters
};
