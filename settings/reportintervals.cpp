#include "settings/reportintervals.h"

#include <QCoreApplication>

#include <algorithm>

const QVector<ReportInterval> &reportIntervals()
{
    static const QVector<ReportInterval> intervals{
        {180, QT_TRANSLATE_NOOP("ReportInterval", "3 min")},
        {300, QT_TRANSLATE_NOOP("ReportInterval", "5 min")},
        {600, QT_TRANSLATE_NOOP("ReportInterval", "10 min")},
        {900, QT_TRANSLATE_NOOP("ReportInterval", "15 min")},
        {1200, QT_TRANSLATE_NOOP("ReportInterval", "20 min")},
        {1800, QT_TRANSLATE_NOOP("ReportInterval", "30 min")},
        {3600, QT_TRANSLATE_NOOP("ReportInterval", "1 hour")},
        {7200, QT_TRANSLATE_NOOP("ReportInterval", "2 hours")},
        {10800, QT_TRANSLATE_NOOP("ReportInterval", "3 hours")},
        {18000, QT_TRANSLATE_NOOP("ReportInterval", "5 hours")},
        {43200, QT_TRANSLATE_NOOP("ReportInterval", "12 hours")},
        {86400, QT_TRANSLATE_NOOP("ReportInterval", "1 day")},
    };
    return intervals;
}

int reportIntervalIndex(int seconds)
{
    const QVector<ReportInterval> &all = reportIntervals();
    const auto isShorter = [](const ReportInterval &a, int b) { return a.seconds < b; };
    return int(std::lower_bound(all.begin(), all.end() - 1, seconds, isShorter) - all.begin());
}

QString reportIntervalLabel(int index)
{
    return QCoreApplication::translate("ReportInterval", reportIntervals().at(index).label);
}
