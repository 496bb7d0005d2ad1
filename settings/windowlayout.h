#pragma once

class QByteArray;

// Whether stored bytes are such as QMainWindow writes for the gateway's window. Qt's readers take
// whatever counts and sizes they find, loop two thousand million times, and make windows of
// gigabytes. Pure functions; any thread.
namespace windowlayout {

// Of QMainWindow::saveState(), for a window with a few tool bars and no dock widgets. Empty: false.
bool isState(const QByteArray &bytes);
// Of QWidget::saveGeometry(). Empty: false.
bool isGeometry(const QByteArray &bytes);

} // namespace windowlayout
