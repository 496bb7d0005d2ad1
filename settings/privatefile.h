#pragma once

#include <QByteArray>
#include <QString>

// Puts `bytes` into the file in place of what it held, readable by this user alone from its first
// moment. The old content stays whole until the new one is. False, with the system's reason in
// `error`, when that fails, a full disk included, or when there is something else than a file of
// that name. Any thread.
bool replacePrivateFile(const QString &path, const QByteArray &bytes, QString &error);

// Whether there is a file, possibly behind a link, rather than a device or a pipe: opening one of
// those can wait for ever. Any thread.
bool isRegularFile(const QString &path);
