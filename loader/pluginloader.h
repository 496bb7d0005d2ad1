#pragma once

#include "things/abstractthingtype.h"

#include <QHash>
#include <QJsonObject>
#include <QString>
#include <QVector>

#include <memory>

class QLibrary;
class QObject;

// A device type as it was loaded. The pointers belong to the plugin's root object, which lives
// until the process ends.
struct LoadedPlugin
{
    QString name;
    QJsonObject metadata;
    QObject *root = nullptr;
    AbstractThingType *type = nullptr;
    ConfigurableThingType *configurable = nullptr; // optional interfaces
    KeyedThingType *keyed = nullptr;
};

// Finds and loads the device-type plugins and the libraries that they depend on. Nothing is ever
// unloaded: things and settings of a plugin may outlive every owner. One thread.
class PluginLoader
{
public:
    // `applicationDir`: where "plugins" is looked for, then "../plugins", and where the
    // dependencies are.
    explicit PluginLoader(const QString &applicationDir);
    // Calls "deinit" of every dependency that has one. All things must be gone by then.
    ~PluginLoader();
    Q_DISABLE_COPY(PluginLoader)

    // Loads every plugin in the order of the directory's listing. A file that cannot be loaded
    // is logged with the reason and skipped, as is one that runwatch leaves out; a later plugin
    // takes the place of an earlier one of the same name.
    void load();
    // Loads one plugin, wherever it lies. Returns why it cannot be loaded; empty on success.
    [[nodiscard]] QString loadFile(const QString &path);
    const QVector<LoadedPlugin> &plugins() const { return m_plugins; }

private:
    void loadDependencies(const QString &pluginPath, const QJsonObject &metadata);

    QString m_applicationDir;
    QVector<LoadedPlugin> m_plugins;
    QHash<QString, QLibrary *> m_dependencies; // by name; libraries stay open for good
};
