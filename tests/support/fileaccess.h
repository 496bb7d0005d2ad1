#pragma once

#include <QString>

// True if only this user, and on Windows the system account, can access the file.
bool isPrivate(const QString &path);

void openToEverybody(const QString &path);
