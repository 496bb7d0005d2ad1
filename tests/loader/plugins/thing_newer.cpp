// A plugin of a kit that does not exist yet.

#include <QObject>
#include <QtPlugin>

class Newer : public QObject
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "example.Foreign/1.0" FILE "thing_newer.json")
};

#include "thing_newer.moc"
