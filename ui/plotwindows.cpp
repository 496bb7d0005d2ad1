#include "ui/plotwindows.h"

#include "plot/plotlibrary.h"
#include "ui/dialogs.h"
#include "ui/log.h"

#include <QCoreApplication>
#include <QPluginLoader>
#include <QWidget>

PlotWindows::PlotWindows(const QString &folder)
    : m_library(folder + QLatin1String("/kvg_plot"))
{
}

void PlotWindows::open(HistorySource &history, const PlotSubject &subject, QWidget *parent)
{
    QPointer<QWidget> &window = m_windows[subject.device];
    if (!window) {
        QPluginLoader loader(m_library); // adds the suffix, and never unloads the library
        auto *const library = qobject_cast<PlotLibrary *>(loader.instance());
        if (library == nullptr) {
            qCWarning(lcUi).noquote() << "Library of plots not loaded:" << loader.errorString();
            dialogs::showMessage(parent, QMessageBox::Critical,
                                 QCoreApplication::translate("PlotWindows", "History"),
                                 QCoreApplication::translate(
                                     "PlotWindows",
                                     "The plot cannot be shown, because a part of the program is "
                                     "missing. Install the program again. (%1)")
                                     .arg(loader.errorString()));
            return;
        }
        window = library->createPlot(history, subject, parent);
    }
    window->setWindowState(window->windowState() & ~Qt::WindowMinimized);
    window->show();
    window->raise();
    window->activateWindow();
}
