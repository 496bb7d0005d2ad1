#pragma once

#include <QTimer>

class QWidget;

// Tells over the window that the gateway's files cannot be written: once, until all of them are
// written again. Until then it tries the settings again, which otherwise wait for the next change.
// Interface thread; a child of the window.
class StorageNotice : public QObject
{
    Q_OBJECT

public:
    explicit StorageNotice(QWidget *window);

private:
    void show();

    QWidget *const m_window;
    QTimer m_retry;
};
