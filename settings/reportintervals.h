#pragma once

#include <QString>
#include <QVector>

// A choice of how often states are reported to the cloud.
struct ReportInterval
{
    int seconds;
    const char *label; // untranslated; see reportIntervalLabel()
};

// The choices in rising order; the same list for the whole life of the process.
const QVector<ReportInterval> &reportIntervals();
// Index of the first choice that is not shorter, of the last when all are.
int reportIntervalIndex(int seconds);
QString reportIntervalLabel(int index);
