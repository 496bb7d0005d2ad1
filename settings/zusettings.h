#pragma once

#include "settings/settingsstore.h"

#include <QJsonObject>
#include <QObject>

class QDataStream;

// The settings as a whole: the version of their layout, the pool, the registration marks, the
// backup's view of them. Any thread; each object is for one thread.
class ZUSettings : public QObject
{
    Q_OBJECT

public:
    // Makes sure that the store names the running version as that of its layout.
    explicit ZUSettings(QObject *parent = nullptr);
    ~ZUSettings() override;

    SettingsStore &store() { return m_store; }

    // The stored device pool as it stands; empty when it cannot be parsed. The text is read as
    // Latin-1.
    QJsonObject pool() const;

    // Writes every key of this user as (key, value) pairs in the store's order. True when the
    // stream is still good afterwards.
    bool exportAll(QDataStream &stream);

public slots:
    // Takes the registration id from every known device and forgets the gateway's serial. The
    // credential files are not touched.
    void resetRegistration();

signals:
    // The user wants the registration to be voided. Nothing here emits it: it is the settings
    // page's, whose window connects it.
    void unregDevices();

private:
    SettingsStore m_store;
};
