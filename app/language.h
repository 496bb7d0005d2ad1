#pragma once

#include <QString>

#include <memory>
#include <optional>
#include <vector>

class QTranslator;

// Settles which language is stored before anything is shown. `reset` clears every setting first
// and wins over `language`, which is stored as given. A store without a language gets the
// system's, as the toolkit's number for it: on purpose, a first start is told apart by that.
void settleLanguage(bool reset, const std::optional<QString> &language);

// The stored language as text, the system's locale name when there is none.
QString storedLanguage();

// The translators of one language, installed for the life of the object. Interface thread.
class Translations
{
public:
    // Loads the toolkit's own messages and every matching file among the resources; what does
    // not load is left out.
    explicit Translations(const QString &language);
    ~Translations();
    Q_DISABLE_COPY(Translations)

private:
    void install(const QString &file, const QString &folder);

    std::vector<std::unique_ptr<QTranslator>> m_translators;
};
