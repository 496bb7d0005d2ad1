#pragma once

#include "app/platform/autostartentry.h"
#include "settings/settingsform.h"

#include <QObject>

// Starts the running executable with the user's session. Interface thread; failures are logged.
class QAutoStarter : public QObject, public Autostart
{
    Q_OBJECT

public:
    // `name` is that of the entry. The picture is for systems that can show one of the program's
    // own; the present ones take theirs from the executable or the icon theme.
    QAutoStarter(const QString &name, const QString &picture, QObject *parent);

    // An entry that names the executable without quotation marks counts as different.
    Q_INVOKABLE bool autostartSet() const override;
    Q_INVOKABLE void setAutostart(bool on) override;
    // Makes an entry that is there follow an executable that was moved.
    Q_INVOKABLE void checkAutostart();

private:
    AutostartEntry m_entry;
};
