#pragma once

#include <QByteArray>
#include <QString>

// Puts `bytes` into the file in place of what it held, readable by this user alone from its first
// moment. The old content stays whole until the new one is. False, with the system's reason in
// `error`, when that fails, a full disk included, or when there is something else than a file of
// that name. Any thread.
bool replacePrivateFile(const QString &path, const QByteArray &bytes, QString &error);
