#pragma once

#include <QMetaType>
#include <QString>

// A step of the connection check, for the interface. Texts are in the user's language; parts of
// them come from the network.
struct CheckStep
{
    enum Status { Running, Passed, Failed, Skipped };

    int number = 0; // ascending from 0
    Status status = Running;
    QString name;
    QString seen;   // empty while the step runs
    QString advice; // what a failure means and what the user can do
};

Q_DECLARE_METATYPE(CheckStep)
