#include "settings/settingsfile.h"

#include "settings/log.h"
#include "settings/privatefile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QVariant>

namespace {

// Walks over the format of the toolkit's settings files as far as it takes to tell where values
// begin and lines end: quotes hold lines together, a backslash takes the next character along, a
// semicolon begins a comment.
class Walker
{
public:
    explicit Walker(const QByteArray &text)
        : m_text(text)
    {
    }

    bool atEnd() const { return m_at >= m_text.size(); }
    int position() const { return m_at; }

    // Goes behind the end of the line; true when one of its values is unsafe.
    bool passLine()
    {
        bool unsafe = false;
        bool quoted = false;
        bool isValue = false;
        bool atStart = false;
        while (!atEnd()) {
            const bool plain = m_text.at(m_at) != '\\';
            const int character = next();
            if (character == nothing) {
                continue;
            }
            if (plain && !quoted && isLineEnd(character)) {
                break;
            }
            if (plain && !quoted && character == ';') {
                skipComment();
            } else if (plain && character == '"') {
                quoted = !quoted;
            } else if (plain && !quoted && character == (isValue ? ',' : '=')) {
                isValue = true;
                atStart = true;
            } else if (atStart && character == '@') {
                unsafe = unsafe || isUnsafe();
                atStart = false;
            } else if (character != ' ' && character != '\t') {
                atStart = false;
            }
        }
        return unsafe;
    }

private:
    static constexpr int nothing = -1; // of an escape that stands for no character

    static bool isLineEnd(int character) { return character == '\n' || character == '\r'; }

    void skipComment()
    {
        while (!atEnd() && !isLineEnd(m_text.at(m_at))) {
            ++m_at;
        }
    }

    // The next character as the toolkit reads it, escapes decoded.
    int next()
    {
        const char first = m_text.at(m_at++);
        if (first != '\\' || atEnd()) {
            return static_cast<uchar>(first);
        }
        const char kind = m_text.at(m_at);
        if (kind >= '0' && kind <= '7') {
            return number(8);
        }
        ++m_at;
        if (kind == 'x') {
            return number(16);
        }
        if (isLineEnd(kind)) {
            if (!atEnd() && m_text.at(m_at) == (kind == '\n' ? '\r' : '\n')) {
                ++m_at;
            }
            return nothing;
        }
        return QByteArray("abfnrtv\"?'\\").contains(kind) ? kind : nothing;
    }

    int number(int base)
    {
        const int start = m_at;
        uint code = 0;
        for (; !atEnd(); ++m_at) {
            bool isDigit = false;
            const uint digit = m_text.mid(m_at, 1).toUInt(&isDigit, base);
            if (!isDigit) {
                break;
            }
            code = (code * static_cast<uint>(base) + digit) & 0xffff;
        }
        return m_at == start ? nothing : static_cast<int>(code);
    }

    bool isUnsafe() const
    {
        Walker rest(*this);
        QByteArray name;
        while (!rest.atEnd() && name.size() < 9) {
            // What the toolkit may skip between the letters does not count.
            const int character = rest.next();
            if (character != nothing && !QByteArray("\"\n\r \t").contains(char(character))) {
                name += static_cast<char>(character);
            }
        }
        return name.startsWith("Variant(") || name.startsWith("DateTime(");
    }

    const QByteArray &m_text;
    int m_at = 0;
};

void removeUnsafe(const QString &path)
{
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly)) {
        return;
    }
    const QByteArray text = file.readAll(); // as the toolkit does
    QByteArray safe;
    Walker walker(text);
    while (!walker.atEnd()) {
        const int start = walker.position();
        if (!walker.passLine()) {
            safe += text.mid(start, walker.position() - start);
        }
    }
    if (safe.size() == text.size()) {
        return;
    }
    QString error;
    if (replacePrivateFile(path + QLatin1String(".unsafe"), text, error) &&
        replacePrivateFile(path, safe, error)) {
        qCWarning(lcSettings).noquote() << path << "held values that are not the gateway's; it is"
                                        << "kept as .unsafe, the other values stay";
    } else {
        qCWarning(lcSettings).noquote() << "Unsafe values stay in" << path << "-" << error;
    }
}

} // namespace

void secureSettings()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    const QString own = folder + QLatin1Char('/') + QCoreApplication::organizationName();
    QDir().mkpath(own);
    QFile::setPermissions(own, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    removeUnsafe(own + QLatin1String(".conf"));
    removeUnsafe(own + QLatin1Char('/') + QCoreApplication::applicationName() +
                 QLatin1String(".conf"));
}

bool replaceSettings(const std::function<bool()> &replace)
{
    return replace(); // a file is replaced in one step
}

QVariant storable(const QVariant &value)
{
    return value;
}
