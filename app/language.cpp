#include "app/language.h"

#include "settings/settingsstore.h"

#include <QCoreApplication>
#include <QDir>
#include <QLibraryInfo>
#include <QLocale>
#include <QRegularExpression>
#include <QTranslator>

void settleLanguage(bool reset, const std::optional<QString> &language)
{
    SettingsStore store;
    const int system = QLocale::system().language();
    if (reset) {
        store.clear();
        store.setVariant(keys::Language, system);
    } else if (language) {
        store.set(keys::Language, *language);
    } else if (!store.contains(keys::Language)) {
        store.setVariant(keys::Language, system);
    }
}

QString storedLanguage()
{
    const SettingsStore store;
    return store.contains(keys::Language) ? store.value(keys::Language) : QLocale::system().name();
}

Translations::Translations(const QString &language)
{
    // The stored text becomes part of file names.
    static const QRegularExpression localeName(QStringLiteral("\\A[A-Za-z0-9_@.-]{1,32}\\z"));
    if (!localeName.match(language).hasMatch()) {
        return;
    }
    // The last one is asked first: texts of plugins cannot replace those of the gateway.
    const QString base = language.section(QLatin1Char('_'), 0, 0);
    QDir plugins(QCoreApplication::applicationDirPath() + QLatin1String("/plugins"));
    if (!plugins.exists()) {
        plugins.setPath(QCoreApplication::applicationDirPath() + QLatin1String("/../plugins"));
    }
    installAll(plugins, {QStringLiteral("thing_*_%1.qm").arg(base),
                         QStringLiteral("thing_*_%1_*.qm").arg(base)});
    install(QLatin1String("qt_") + language,
            QLibraryInfo::location(QLibraryInfo::TranslationsPath));
    installAll(QStringLiteral(":/lang"), {QStringLiteral("*_%1*.qm").arg(base)});
}

Translations::~Translations()
{
    for (const auto &translator : m_translators) {
        QCoreApplication::removeTranslator(translator.get());
    }
}

void Translations::installAll(const QDir &folder, const QStringList &patterns)
{
    const QStringList files = folder.entryList(patterns, QDir::Files, QDir::Unsorted);
    for (const QString &file : files) {
        install(file, folder.path());
    }
}

void Translations::install(const QString &file, const QString &folder)
{
    auto translator = std::make_unique<QTranslator>();
    if (translator->load(file, folder) && QCoreApplication::installTranslator(translator.get())) {
        m_translators.push_back(std::move(translator));
    }
}
