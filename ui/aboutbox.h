#pragma once

class QWidget;

// Opens the About box and returns at once; does nothing while it is open. Interface thread.
void showAboutBox(QWidget *parent);
