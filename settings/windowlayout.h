#pragma once

class QByteArray;

// Whether stored bytes have the form that QMainWindow writes for the gateway's window. Qt does not
// check counts and sizes: damaged ones make it loop two billion times, or allocate
// gigabytes. Pure functions; any thread.
namespace windowlayout {

// The form of QMainWindow::saveState(), with a few tool bars and no dock widgets. Empty: false.
bool isState(const QByteArray &bytes);
// The form of QWidget::saveGeometry(). Empty: false.
bool isGeometry(const QByteArray &bytes);

} // namespace windowlayout
