#pragma once

#include <QString>
#include <QStringList>

#include <memory>
#include <optional>
#include <vector>

class QDir;
class QTranslator;

// Stores the language to use, before any text is shown. `reset` clears every setting and stores the
// system's language; else `language` is stored as given; else the system's language when none is
// stored. The system's is stored as its QLocale::Language, which shows that the user chose none.
void settleLanguage(bool reset, const std::optional<QString> &language);

// The stored language, or the system's locale name.
QString storedLanguage();

// The translators of one language, installed for the life of the object. Interface thread.
class Translations
{
public:
    // Loads, as far as they exist, Qt's own translation, every matching file of the resources, and
    // thing_<name>_<language>.qm in the folder of the plugins.
    explicit Translations(const QString &language);
    ~Translations();
    Q_DISABLE_COPY(Translations)

private:
    void installAll(const QDir &folder, const QStringList &patterns);
    void install(const QString &file, const QString &folder);

    std::vector<std::unique_ptr<QTranslator>> m_translators;
};
