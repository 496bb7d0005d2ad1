#pragma once

#include "app/platform/standardinput.h"
#include "runner/runnerthread.h"
#include "things/thingstate.h"

#include <QByteArray>
#include <QJsonObject>
#include <QObject>
#include <QTimer>
#include <QVariant>

// The gateway without a window: runs the start-up chain, rescans by the stored interval, writes
// every result and change as a line of JSON to standard output, and takes commands, a line each,
// from standard input. Ends the application when the input ends. Interface thread.
//
//     register            begins a registration
//     rename ID ALIAS     ALIAS is the rest of the line
//     things | rescan | quit
//     status              of the connection's credentials
//     state               of the registration
//     reset               voids the registration
class ConsoleSession : public QObject
{
    Q_OBJECT

public:
    explicit ConsoleSession(QObject *parent = nullptr);
    ~ConsoleSession() override;
    void start();

private:
    void showResult(int operation, const QVariant &result);
    void continueLoading();
    void showThing(const ThingState &thing);
    void readInput(const QByteArray &piece);
    void execute(const QByteArray &line);
    void requestScan();
    template <typename Slot>
    void queue(Slot slot);

    RunnerThread m_worker;
    int m_awaited; // the result that the start-up chain goes on at
    StandardInput m_input;
    QByteArray m_unread;
    QTimer m_scanTimer;
    bool m_scanning = false; // one scan outstanding at a time
};
