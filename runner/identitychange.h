#pragma once

#include <QObject>

class CloudLink;
class LiveThings;
class RegistrationSession;

// A reset or a restore: replaces the gateway's ids, certificate and key one after the other, while
// nothing is connected or registered. Lives on the runner's thread.
//
// So that a process that is killed in between leaves no mixture, the file "identity.pending" in the
// data folder, for the user alone, says what was begun, and the next start completes it. The change
// goes on, with a log line, when that file cannot be written.
class IdentityChange : public QObject
{
    Q_OBJECT

public:
    // All are borrowed.
    IdentityChange(LiveThings &things, CloudLink &link, RegistrationSession &registration,
                   QObject *parent = nullptr);

    // Voids the registration of the gateway and of all things. resetDone() follows.
    void reset();
    // Replaces settings and credentials by those of a backup. restoreEnded() follows. A file that
    // is no backup changes and interrupts nothing.
    void restore(const QString &file);

    // Completes what the last process began and did not end. To be called before anything else
    // reads the settings, and before the runner starts.
    static void carryThrough();

signals:
    // A registration that was under way was cancelled: its result would belong to the identity that
    // is replaced.
    void registrationVoided();
    void resetDone();
    // `error`: the user's sentence, empty on success. `hasChanged`: something was replaced.
    void restoreEnded(const QString &error, bool hasChanged);

private:
    void begin(const QByteArray &change);

    LiveThings &m_things;
    CloudLink &m_link;
    RegistrationSession &m_registration;
};
