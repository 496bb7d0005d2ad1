#pragma once

#include <QString>

// Whether the file is for this user alone, and the system's own account where there is one.
bool isPrivate(const QString &path);

void openToEverybody(const QString &path);
