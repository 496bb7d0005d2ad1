#include "plot/plotlibrary.h"
#include "plot/plotwindow.h"

#include <QObject>

class PlotPlugin : public QObject, public PlotLibrary
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID KVG_PLOT_LIBRARY_IID)
    Q_INTERFACES(PlotLibrary)

public:
    QWidget *createPlot(HistorySource &history, const PlotSubject &subject,
                        QWidget *parent) override
    {
        return new PlotWindow(history, subject, parent);
    }
};

#include "plotplugin.moc"
