#include "ui/aboutbox.h"

#include "settings/defaults.h"
#include "ui/dialogs.h"
#include "ui/widgets/contrast.h"

#include <QGuiApplication>
#include <QIcon>
#include <QMessageBox>
#include <QPalette>
#include <QSslSocket>

namespace {

QString row(const QString &name, const QString &value)
{
    return QStringLiteral("<tr><td>%1&nbsp;&nbsp;</td><td>%2</td></tr>").arg(name, value);
}

QString link(const char *address, const QString &name)
{
    const QPalette palette = QGuiApplication::palette();
    const QColor ink =
        legibleForeground(palette.color(QPalette::Link), palette.color(QPalette::Window));
    return QStringLiteral("<a href=\"%1\" style=\"color:%3\">%2</a>")
        .arg(QLatin1String(address), name, ink.name());
}

QString sslLine()
{
    return QSslSocket::supportsSsl()
               ? link("https://www.openssl.org", QSslSocket::sslLibraryVersionString())
               : QStringLiteral("<font color=\"red\">%1</font>")
                     .arg(QCoreApplication::translate("AboutBox", "OpenSSL: not loaded"));
}

} // namespace

void showAboutBox(QWidget *parent)
{
    const QString name = QStringLiteral("aboutBox");
    if (parent->findChild<QMessageBox *>(name, Qt::FindDirectChildrenOnly) != nullptr) {
        return;
    }
    const QString libraries =
        link("https://www.qt.io", QLatin1String("Qt ") + QLatin1String(qVersion())) +
        QLatin1String("<br>") + link("https://github.com/emqx/qmqtt", QStringLiteral("qmqtt")) +
        QLatin1String("<br>") + link("https://qwt.sourceforge.io", QStringLiteral("Qwt")) +
        QLatin1String("<br>") + link("https://github.com/libusb/hidapi", QStringLiteral("hidapi")) +
        QLatin1String("<br>") + sslLine();
    const QString table =
        QStringLiteral(
            "<table width=\"100%\"><tr><th colspan=\"2\" align=\"left\">%1</th></tr>%2%3%4%5"
            "</table>")
            .arg(QCoreApplication::translate("AboutBox", "Nimbra Cloud Gateway Software."),
                 row(QCoreApplication::translate("AboutBox", "Version"),
                     QLatin1String(defaults::Version) + QLatin1String(" (Dec 31 2020)")),
                 row(QCoreApplication::translate("AboutBox", "Developed by"),
                     QStringLiteral("Corvalt")),
                 row(QCoreApplication::translate("AboutBox", "Support"),
                     link("https://support.nimbra.example",
                          QStringLiteral("support.nimbra.example"))),
                 row(QCoreApplication::translate("AboutBox", "Uses:"), libraries));
    auto *const box = new QMessageBox(QMessageBox::NoIcon, QStringLiteral("KVG-Gate"), table,
                                      QMessageBox::Ok, parent);
    box->setObjectName(name);
    box->setTextFormat(Qt::RichText);
    box->setIconPixmap(QIcon(QStringLiteral(":/kvg-gate.ico")).pixmap(64));
    dialogs::enqueue(box);
}
