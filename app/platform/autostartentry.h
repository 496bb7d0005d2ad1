#pragma once

#include <QString>

// The entry by which the system starts a program with the user's session: a value of the Run key
// of the registry on Windows, a desktop file in the user's autostart folder elsewhere. No state
// of its own; what a call writes, the next one sees.
class AutostartEntry
{
public:
    explicit AutostartEntry(const QString &name);

    // The command that starts this executable, as an entry holds it: quoted, in the system's way.
    static QString commandFor(const QString &executable);

    // The command of the entry; null when there is none, or when the user switched it off by
    // means of the desktop.
    QString read() const;
    // Makes or replaces the entry in one step. Failures are logged.
    void write(const QString &command);
    // Nothing happens when there is none.
    void remove();

private:
    QString m_name;
};
