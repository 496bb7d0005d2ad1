#pragma once

#include <QElapsedTimer>
#include <QString>
#include <QVector>

// Watches device types: one that crashes the gateway or stops its start is left out when this has
// happened twice, and one that takes long is named in the log.
//
// A file holds what must survive the process: how far this run came, which plugin's code runs while
// it starts, where it crashed, and what earlier runs blamed plugins for. One record for each
// process; before begin() and without the file, nothing is stored.
namespace runwatch {

enum class Reason { None, Crashes, Starts };

struct LeftOut
{
    QString path; // of the plugin
    Reason reason;
};

// What this start does without.
struct StartPlan
{
    QVector<LeftOut> plugins;
    bool withoutLayout = false; // of the window
};

// Judges the previous run by its record in `file`, begins the record of this one there, and
// installs the crash handler. Once, on the interface thread, before there are other threads.
//
// After two crashes within a day, or two starts in a row that did not get ready, the plugin to
// blame is left out, until its file changes or forgetBlame() is called. If starts fail and none is
// to blame, the plan is without the layout. A start that was ended by end() has not failed.
[[nodiscard]] StartPlan begin(const QString &file);
// The start is over.
void setReady();
// The process ends as it should. Nothing is recorded any more.
void end();
// The process ends although a plugin hangs: end() then leaves the record as it is, so that a start
// that hung counts as failed.
void keepBlame();
// The next start loads all plugins.
void forgetBlame();

// For the thread that runs plugins' code:

void guardStack();
bool isLeftOut(const QString &path);
// Before the plugin is loaded. `type`: the name of its device type.
void addPlugin(const QString &type, const QString &path);
// Once it is loaded: `address` is one in its library.
void setLibrary(const QString &type, const void *address);

// Exists while a plugin's code runs. With `call`, a literal, a call that takes longer than 200 ms
// is logged, and later ones that take more than twice as long.
class PluginCall
{
public:
    explicit PluginCall(const QString &type, const char *call = nullptr);
    ~PluginCall();
    Q_DISABLE_COPY(PluginCall)

private:
    const QString m_type;
    const char *const m_call;
    const int m_outer; // calls can be nested, in a plugin's event loop
    QElapsedTimer m_time;
};

// What `function` returns, called as a PluginCall.
template <typename Function>
auto callPlugin(const QString &type, const char *call, Function function)
{
    const PluginCall running(type, call);
    return function();
}

} // namespace runwatch
