#pragma once

#include <QByteArray>
#include <QObject>

// Standard input as signals, in pieces as they come. One instance, on the thread of the
// application object.
class StandardInput : public QObject
{
    Q_OBJECT

public:
    explicit StandardInput(QObject *parent = nullptr);

signals:
    void received(const QByteArray &piece);
    void ended();
};
