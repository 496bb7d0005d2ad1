#pragma once

#include <QHash>
#include <QPointer>
#include <QString>

class HistorySource;
class QWidget;
struct PlotSubject;

// The plots of the devices' histories, a window for each device. Interface thread.
class PlotWindows
{
public:
    // Loads the library of plots from `folder`, the program's own, when the first plot is opened.
    explicit PlotWindows(const QString &folder);

    // Opens the window of the device, a child of `parent`, or brings it to the front; a message
    // tells when the library cannot be loaded. `history` is borrowed and must outlive the window.
    void open(HistorySource &history, const PlotSubject &subject, QWidget *parent);

private:
    const QString m_library;
    QHash<QString, QPointer<QWidget>> m_windows; // by the device's short id
};
