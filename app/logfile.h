#pragma once

#include <QString>

// The log that a user can send: while the object lives, what the program and Qt report (debugging
// left out) is appended to a file beside the standard error output. Lines of the form
// "2026-01-31 12:00:00.123 W kvg.cloud text": local time, the level's initial, the category.
//
// Bounded: a file that has reached 1 MB becomes "kvg-gate.log.1" in place of the one before, and
// long texts are cut. For the user alone, each line on the disk at once. A folder that cannot be
// written makes it silent. One object at a time, made and destroyed on the thread of the
// application object, which has to be named before; messages may come from any thread.
class LogFile
{
public:
    // Keeps the first messages in memory, so that a second instance, which never calls open(),
    // leaves the files alone.
    LogFile();
    ~LogFile();
    Q_DISABLE_COPY(LogFile)

    // Begins the run in the file: a line that tells the version, then the messages kept so far.
    void open();

    // Where the files lie, in the per-user data directory.
    static QString folder();

    static constexpr qint64 longestFile = 1024LL * 1024; // bytes
    static constexpr int longestText = 2000;             // characters

private:
    const QString m_path;
};
