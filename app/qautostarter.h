#pragma once

#include "settings/settingsform.h"

#include <QObject>
#include <QString>

// Starts this executable with the user's session. Interface thread; failures are logged.
class QAutoStarter : public QObject, public Autostart
{
    Q_OBJECT

public:
    // `name` is the entry's name. `picture` is unused: the systems show the executable's icon or
    // the icon theme's.
    QAutoStarter(const QString &name, const QString &picture, QObject *parent);

    // An entry that names the executable without quotation marks counts as different.
    Q_INVOKABLE bool autostartSet() const override;
    Q_INVOKABLE void setAutostart(bool on) override;
    // Updates an existing entry after the executable was moved.
    Q_INVOKABLE void checkAutostart();

private:
    const QString m_name; // of the entry
};
