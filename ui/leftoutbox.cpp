#include "ui/leftoutbox.h"

#include "ui/devicewords.h"
#include "ui/dialogs.h"
#include "watch/runwatch.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonObject>
#include <QPluginLoader>

namespace {

// The title of the device type, or else the name of the file. Runs nothing of the plugin.
QString titleOf(const QString &path)
{
    const QJsonObject data = QPluginLoader(path).metaData()["MetaData"].toObject();
    const QString title = DeviceWords::translated(data["title"]);
    return title.isEmpty() ? QFileInfo(path).fileName() : title;
}

} // namespace

void showLeftOut(QWidget *window, const runwatch::StartPlan &plan,
                 const std::function<void()> &tryAgain)
{
    QStringList lines;
    for (const runwatch::LeftOut &plugin : plan.plugins) {
        const QString text =
            plugin.reason == runwatch::Reason::Crashes
                ? QCoreApplication::translate("LeftOutBox",
                                              "The device type \"%1\" was left out, because the "
                                              "program crashed in it twice.")
                : QCoreApplication::translate(
                      "LeftOutBox",
                      "The device type \"%1\" was left out, because the program did not finish "
                      "starting twice while it was at work.");
        lines.append(text.arg(dialogs::shortened(titleOf(plugin.path))));
    }
    if (plan.withoutLayout) {
        lines.append(QCoreApplication::translate(
            "LeftOutBox",
            "The window's layout was not restored, because the last two starts did not "
            "finish."));
    }
    if (!lines.isEmpty()) {
        dialogs::showMessageWithAction(
            window, QMessageBox::Warning, QCoreApplication::applicationName(), lines.join("\n\n"),
            QCoreApplication::translate("LeftOutBox", "&Try Again"), tryAgain, QMessageBox::Close);
    }
}
