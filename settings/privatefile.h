#pragma once

#include <QByteArray>
#include <QString>

// Replaces the file's content in one step, so that a crash leaves the old or the new one. Only this
// user can read the new file, from its creation on. False, with the reason in `error`, when that
// fails, or when `path` is not a regular file. On Windows, waits up to 0.2 s for another program
// that reads the file. Any thread.
[[nodiscard]] bool replacePrivateFile(const QString &path, const QByteArray &bytes, QString &error);

// Whether `path` is a file or a link to one; opening a device or a pipe can block for ever. Any
// thread.
bool isRegularFile(const QString &path);
