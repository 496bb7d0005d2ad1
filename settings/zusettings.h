#pragma once

#include "settings/settingsstore.h"

#include <QJsonObject>
#include <QObject>

class QDataStream;
class SettingsForm;

// The settings as a whole: their version, the pool, the registration marks, the settings page, the
// window's layout, their chunk of a backup. Any thread; each object is for one thread.
class ZUSettings : public QObject
{
    Q_OBJECT

public:
    // Stores the running version as the version of the settings.
    explicit ZUSettings(QObject *parent = nullptr);

    SettingsStore &store() { return m_store; }

    // The stored device pool, read as Latin-1; empty when it cannot be parsed.
    QJsonObject pool() const;

    // Fills the page from the store, which discards edits. The check box for the autostart shows
    // the system's entry.
    void load(SettingsForm &page) const;
    // Stores the page's values and switches the autostart. Language and theme take effect at the
    // next start; the page warns the user when one of them changed.
    // False when the store cannot be written.
    [[nodiscard]] bool apply(SettingsForm &page);

    // A stored layout; empty when it is not one that Qt can read safely.
    QByteArray windowState(const Key<QByteArray> &key) const;
    QByteArray windowGeometry(const Key<QByteArray> &key) const;
    // The layout of a window with the four methods that QMainWindow has for it.
    template <typename Window>
    void restore(Window &window) const
    {
        window.restoreState(windowState(keys::PageState));
        window.restoreGeometry(windowGeometry(keys::PageGeometry));
    }
    template <typename Window>
    void save(const Window &window)
    {
        m_store.set(keys::PageGeometry, window.saveGeometry());
        m_store.set(keys::PageState, window.saveState());
    }

    // As settingsstream::write().
    [[nodiscard]] bool exportAll(QDataStream &stream);
    // Replaces every key of this user by the settings in `chunk`, of any version, and stores the
    // running version. False, with the store unchanged, when settingsstream::parse() rejects the
    // chunk or the store cannot be written.
    [[nodiscard]] bool importAll(const QByteArray &chunk);
    // Whether settingsstream::parse() accepts `chunk`.
    [[nodiscard]] static bool canImport(const QByteArray &chunk);

public slots:
    // Clears the registration id of every known device and the gateway's serial. Does not touch the
    // credential files.
    void resetRegistration();

signals:
    // Asks the runner to void the registration. Nothing in this class emits it.
    void unregDevices();

private:
    SettingsStore m_store;
};
