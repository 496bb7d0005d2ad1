#pragma once

class QWidget;

// Keeps the mouse wheel from changing the value of an editor for its life, so that it scrolls the
// page instead. Interface thread.
void guardFromWheel(QWidget *editor);
