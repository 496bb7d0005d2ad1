#include "loader/pluginloader.h"

#include "loader/log.h"
#include "loader/pluginfile.h"
#include "watch/runwatch.h"

#include <QDir>
#include <QJsonArray>
#include <QLibrary>
#include <QPluginLoader>

Q_LOGGING_CATEGORY(lcLoader, "kvg.loader")

namespace {

using EntryPoint = void (*)();

void call(QLibrary &library, const char *entryPoint)
{
    if (const auto function = reinterpret_cast<EntryPoint>(library.resolve(entryPoint))) {
        function();
    }
}

// Why this gateway cannot hold the plugin's promises; empty when it can.
QString kitFault(const QJsonObject &metadata)
{
    const QJsonValue kit = metadata[QLatin1String("sdk")];
    const int version = kit.isUndefined() ? 1 : kit.toInt(0);
    if (version < 1) {
        return QStringLiteral("its \"sdk\" is not the number of a kit");
    }
    if (version > AbstractThingType_sdk) {
        return QStringLiteral("it was made with kit %1, and this gateway knows kit %2 at most")
            .arg(version)
            .arg(AbstractThingType_sdk);
    }
    return {};
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
    runwatch::guardStack();
    QDir folder(m_applicationDir + QLatin1String("/plugins"));
    if (!folder.exists()) {
        folder.setPath(m_applicationDir + QLatin1String("/../plugins"));
    }
    if (!folder.exists()) {
        qCWarning(lcLoader).noquote() << "No folder \"plugins\" in or beside" << m_applicationDir;
    }
    const QStringList patterns = QString::fromLatin1(KVG_PLUGIN_PATTERNS).split(QLatin1Char('|'));
    const QStringList files = folder.entryList(patterns, QDir::Files, QDir::Unsorted);
    for (const QString &file : files) {
        const QString path = folder.absoluteFilePath(file);
        if (runwatch::isLeftOut(path)) {
            qCWarning(lcLoader).noquote() << "Left out" << path << "- it stopped the gateway twice";
            continue;
        }
        const QString fault = loadFile(path);
        if (!fault.isEmpty()) {
            qCWarning(lcLoader).noquote() << "Skipped" << path << "-" << fault;
        }
    }
}

QString PluginLoader::loadFile(const QString &path)
{
    QString fault = pluginFileFault(path);
    if (!fault.isEmpty()) {
        return fault;
    }
    QPluginLoader loader(path);
    loader.setLoadHints(QLibrary::PreventUnloadHint);
    const QJsonObject metadata = loader.metaData().value(QLatin1String("MetaData")).toObject();
    fault = kitFault(metadata);
    if (!fault.isEmpty()) {
        return fault;
    }
    LoadedPlugin plugin;
    plugin.name = metadata["name"].toString();
    runwatch::addPlugin(plugin.name, path);
    const runwatch::PluginCall call(plugin.name, "its loading");
    // Before the plugin itself, which may be linked with them; so also for a plugin that is
    // rejected afterwards.
    loadDependencies(path, metadata);

    QObject *const root = loader.instance();
    plugin.metadata = metadata;
    plugin.type = qobject_cast<AbstractThingType *>(root);
    if (plugin.type == nullptr) {
        return root == nullptr ? loader.errorString()
                               : QStringLiteral("it does not implement " AbstractThingType_iid);
    }
    plugin.root = root;
    runwatch::setLibrary(plugin.name, root->metaObject());
    plugin.configurable = qobject_cast<ConfigurableThingType *>(root);
    plugin.keyed = qobject_cast<KeyedThingType *>(root);
    qCInfo(lcLoader).noquote() << "Loaded" << path << "as" << plugin.name;
    for (LoadedPlugin &earlier : m_plugins) {
        if (earlier.name == plugin.name) {
            qCWarning(lcLoader).noquote() << path << "replaces an earlier" << plugin.name;
            earlier = plugin;
            return {};
        }
    }
    m_plugins.append(plugin);
    return {};
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
            qCWarning(lcLoader).noquote()
                << pluginPath << "names a dependency outside of the application's folder:" << name;
            continue;
        }
        const QString base =
            QStringLiteral("%1/%2-%3")
                .arg(m_applicationDir, name, QString::number(dependency["version"].toInt()));
        auto library = std::make_unique<QLibrary>(base);
        library->setLoadHints(QLibrary::PreventUnloadHint);
        if (!library->load()) {
            qCWarning(lcLoader).noquote()
                << "Dependency of" << pluginPath << "not loaded -" << library->errorString();
            continue;
        }
        call(*library, "init");
        m_dependencies.insert(name, library.release());
    }
}
