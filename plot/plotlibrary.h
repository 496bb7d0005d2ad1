#pragma once

#include <QString>
#include <QVector>
#include <QtPlugin>

class HistorySource;
class QWidget;

// A member of the device's state, as the plot shows it. The texts may be hostile.
struct PlotMember
{
    QString member; // as in HistoryMember
    QString title;
    QString unit;
    bool shown = false; // from the start
};

struct PlotSubject
{
    QString device; // short id
    QString title;
    QVector<PlotMember> members; // others that have a history are shown by their names
};

// The library of plots, which the program loads on demand. Interface thread.
class PlotLibrary
{
public:
    virtual ~PlotLibrary() = default;

    // A window that is not shown yet, in the colours of the palette; it deletes itself when it is
    // closed. `history` is borrowed and must outlive it.
    virtual QWidget *createPlot(HistorySource &history, const PlotSubject &subject,
                                QWidget *parent) = 0;
};

#define KVG_PLOT_LIBRARY_IID "pro.nimbra.kvg_gate.PlotLibrary/1.0"
Q_DECLARE_INTERFACE(PlotLibrary, KVG_PLOT_LIBRARY_IID)
