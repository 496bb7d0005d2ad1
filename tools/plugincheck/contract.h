#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

#include <functional>

class Contract;

// What the check of one rule found.
struct Verdict
{
    enum Kind { Kept, Broken, NotChecked, Unusable };
    Kind kind = Kept;
    QString text; // why; for Kept a remark, mostly empty
};

struct CheckOptions
{
    QString file;
    QString libraries;    // the folder of the libraries that "deps" names
    QStringList settings; // "name=value"
    int milliseconds = 0; // in which the devices' own events are waited for
    int rounds = 0;       // with random values
    quint32 seed = 1;
};

struct Rule
{
    const char *name;
    const char *promise;
    void (Contract::*check)();
    bool isRequired; // when it is broken, or there is no thing, the rest is not checked
    bool needsThing; // or else it is checked all the same, as far as it goes without one
};

// The rules of the contract of device types, in the order in which they are checked.
const QVector<Rule> &contractRules();

// Loads the plugin and calls it as the gateway does, on the calling thread, which should not be the
// main one. `tell` hears of each call before it is made: the check may crash or hang with the
// plugin, so give every check a process of its own.
Verdict checkRule(const Rule &rule, const CheckOptions &options,
                  const std::function<void(const QString &call)> &tell);
