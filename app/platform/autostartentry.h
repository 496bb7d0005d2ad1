#pragma once

#include <QString>

// The entry that makes the system start a program with the user's session: a value of the
// registry's Run key on Windows, a desktop file in the user's autostart folder on Linux. Each call
// reads or writes the system's entry of this name.
namespace autostartentry {

// The command that starts `executable`, quoted as the system requires.
QString commandFor(const QString &executable);

// The entry's command; null when there is no entry, or the desktop's settings disable it.
QString read(const QString &name);
// Creates or replaces the entry in one step. Failures are logged.
void write(const QString &name, const QString &command);
void remove(const QString &name);

} // namespace autostartentry
