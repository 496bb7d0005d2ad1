#include "runner/pluginloader.h"

#include "runner/log.h"
#include "runner/pluginfile.h"

#include <QDir>
#include <QJsonArray>
#include <QLibrary>
#include <QPluginLoader>

namespace {

using EntryPoint = void (*)();

void call(QLibrary &library, const char *entryPoint)
{
    if (const auto function = reinterpret_cast<EntryPoint>(library.resolve(entryPoint))) {
        function();
    }
}

} // namespace

PluginLoader::PluginLoader(const QString &applicationDir)
    : m_applicationDir(applicationDir)
{
}

PluginLoader::~PluginLoader()
{
    for (QLibrary *const library : qAsConst(m_dependencies)) {
        call(*library, "deinit");
        delete library; // does not unload it
    }
}

void PluginLoader::load()
{
    QDir folder(m_applicationDir + QLatin1String("/plugins"));
    if (!folder.exists()) {
        folder.setPath(m_applicationDir + QLatin1String("/../plugins"));
    }
    if (!folder.exists()) {
        qCWarning(lcRunner).noquote() << "No folder \"plugins\" in or beside" << m_applicationDir;
    }
    const QStringList patterns = QString::fromLatin1(KVG_PLUGIN_PATTERNS).split(QLatin1Char('|'));
    const QStringList files = folder.entryList(patterns, QDir::Files, QDir::Unsorted);
    for (const QString &file : files) {
        loadFile(folder.absoluteFilePath(file));
    }
}

void PluginLoader::loadFile(const QString &path)
{
    const QString fault = pluginFileFault(path);
    if (!fault.isEmpty()) {
        qCWarning(lcRunner).noquote() << "Skipped" << path << "-" << fault;
        return;
    }
    QPluginLoader loader(path);
    loader.setLoadHints(QLibrary::PreventUnloadHint);
    const QJsonObject metadata = loader.metaData().value(QLatin1String("MetaData")).toObject();
    // Before the plugin itself, which may be linked with them; so also for a plugin that is
    // rejected afterwards.
    loadDependencies(path, metadata);

    QObject *const root = loader.instance();
    LoadedPlugin plugin;
    plugin.name = metadata["name"].toString();
    plugin.metadata = metadata;
    plugin.type = qobject_cast<AbstractThingType *>(root);
    if (plugin.type == nullptr) {
        qCWarning(lcRunner).noquote()
            << "Skipped" << path << "-"
            << (root == nullptr ? loader.errorString()
                                : QStringLiteral("it does not implement " AbstractThingType_iid));
        return;
    }
    plugin.configurable = qobject_cast<ConfigurableThingType *>(root);
    plugin.keyed = qobject_cast<KeyedThingType *>(root);
    qCInfo(lcRunner).noquote() << "Loaded" << path << "as" << plugin.name;
    for (LoadedPlugin &earlier : m_plugins) {
        if (earlier.name == plugin.name) {
            qCWarning(lcRunner).noquote() << path << "replaces an earlier" << plugin.name;
            earlier = plugin;
            return;
        }
    }
    m_plugins.append(plugin);
}

void PluginLoader::loadDependencies(const QString &pluginPath, const QJsonObject &metadata)
{
    const QJsonArray dependencies = metadata["deps"].toArray();
    for (const QJsonValue &value : dependencies) {
        const QJsonObject dependency = value.toObject();
        if (dependency["type"].toString() != QLatin1String("lib")) {
            continue;
        }
        const QString name = dependency["name"].toString();
        if (m_dependencies.contains(name)) {
            continue;
        }
        if (name.contains(QLatin1Char('/')) || name.contains(QLatin1Char('\\'))) {
            qCWarning(lcRunner).noquote()
                << pluginPath << "names a dependency outside of the application's folder:" << name;
            continue;
        }
        const QString base =
            QStringLiteral("%1/%2-%3")
                .arg(m_applicationDir, name, QString::number(dependency["version"].toInt()));
        auto library = std::make_unique<QLibrary>(base);
        library->setLoadHints(QLibrary::PreventUnloadHint);
        if (!library->load()) {
            qCWarning(lcRunner).noquote()
                << "Dependency of" << pluginPath << "not loaded -" << library->errorString();
            continue;
        }
        call(*library, "init");
        m_dependencies.insert(name, library.release());
    }
}
