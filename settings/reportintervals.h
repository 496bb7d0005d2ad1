#pragma once

#include <QString>
#include <QVector>

// A choice of how often states are reported to the cloud.
struct ReportInterval
{
    int seconds;
    const char *label; // untranslated; see reportIntervalLabel()
};

// The choices in rising order.
const QVector<ReportInterval> &reportIntervals();
// Index of the shortest choice of at least `seconds`; of the last one when all are shorter.
int reportIntervalIndex(int seconds);
QString reportIntervalLabel(int index);
