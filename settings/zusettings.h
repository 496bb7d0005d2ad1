#pragma once

#include "settings/settingsstore.h"

#include <QJsonObject>
#include <QObject>

class QDataStream;
class SettingsForm;

// The settings as a whole: the version of their layout, the pool, the registration marks, the
// settings page, the window's layout, the backup's view of them. Any thread; each object is for
// one thread.
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

    // Fills the page from the store; also how edits are discarded. The check box for the
    // autostart shows the entry itself.
    void load(SettingsForm &page) const;
    // Stores what the page shows and switches the autostart. Language and theme come into force
    // at the next start; the user is told when one of them changed.
    // False when the store cannot be written.
    bool apply(SettingsForm &page);

    // A stored layout, checked: empty when it is not one that Qt can be given.
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

    // Writes every key of this user as (key, value) pairs in the store's order, in the encoding
    // of QDataStream::Qt_5_15, big-endian, to which it sets the stream. What importAll() would
    // refuse is left out, with a log line. True when the stream is still good afterwards and
    // importAll() would take the whole.
    bool exportAll(QDataStream &stream);
    // Replaces every key of this user by those of `chunk`, which holds what exportAll() wrote,
    // whole. False, with the store untouched, when the chunk is anything else: it is taken for
    // hostile and checked to the end before anything is replaced. False as well when the store
    // cannot be written. Settings of a later version are taken as they are; the store names the
    // running version afterwards, as it does when a later version's store is opened.
    bool importAll(const QByteArray &chunk);
    // Whether `chunk` is what exportAll() wrote, whole; if not, the log says why.
    static bool canImport(const QByteArray &chunk);

public slots:
    // Takes the registration id from every known device and forgets the gateway's serial. The
    // credential files are not touched.
    void resetRegistration();

signals:
    // The user wants the registration to be voided. Nothing here emits it: it is the settings
    // page's, whose window connects it.
    void unregDevices();

private:
    bool storedDark(const SettingsForm &page) const;
    static bool parse(const QByteArray &chunk, QMap<QString, QVariant> &values);

    SettingsStore m_store;
};
