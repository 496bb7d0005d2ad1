// A plugin of another interface that names the dependency of the fake one.

#include <QObject>
#include <QtPlugin>

class Foreign : public QObject
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "example.Foreign/1.0" FILE "tests/runner/plugins/thing_fake.json")
};

#include "thing_foreign.moc"
