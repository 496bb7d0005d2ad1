#pragma once

#include <QString>

// Whether the program starts with the user's session. Interface thread.
class Autostart
{
public:
    virtual ~Autostart() = default;

    // True when the system's entry exists and names the running executable.
    virtual bool autostartSet() const = 0;
    virtual void setAutostart(bool on) = 0;
};

// What the settings page shows, in the terms of its editors.
struct SettingsValues
{
    int intervalIndex = 0; // into reportIntervals()
    QString host;
    quint32 port = 0;
    int keepAlive = 0;     // seconds
    int languageIndex = 0; // 0 English, 1 Russian
    bool autostart = false;
    bool closeToTray = false;
    bool startHidden = false;
    bool autoScan = false;
    int scanInterval = 0; // minutes
    bool dark = false;
    bool keepHistory = false;
};

// The settings page without its widgets. Interface thread.
class SettingsForm
{
public:
    virtual ~SettingsForm() = default;

    virtual SettingsValues values() const = 0;
    virtual void show(const SettingsValues &values) = 0;
    // Shows a warning box about what takes effect at the next start.
    virtual void warn(const QString &title, const QString &text) = 0;
    virtual Autostart &autostart() = 0;
    // Whether the window uses the dark theme.
    virtual bool isDark() const = 0;
};
