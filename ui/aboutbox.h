#pragma once

class QWidget;

// Opens the box that tells what this program is, and returns at once; one is enough. Interface
// thread.
void showAboutBox(QWidget *parent);
