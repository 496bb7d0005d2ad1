#include "settings/settingsfile.h"

#include "settings/log.h"
#include "settings/privatefile.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace {

constexpr qint64 largestFile = 64LL * 1024 * 1024; // bytes; nothing that the gateway writes

// Walks over the format of the toolkit's settings files as far as it takes to tell where values
// begin and lines end: quotes hold lines together, a backslash takes the next character along.
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
            const bool escaped = m_text.at(m_at) == '\\';
            const char character = next();
            if (!escaped && character == '\n' && !quoted) {
                break;
            }
            if (!escaped && character == '"') {
                quoted = !quoted;
            } else if (!escaped && !quoted && (character == (isValue ? ',' : '='))) {
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
    // The next character as the toolkit reads it, numeric escapes decoded.
    char next()
    {
        const char first = m_text.at(m_at++);
        if (first != '\\' || atEnd()) {
            return first;
        }
        if (m_text.at(m_at) == 'x') {
            ++m_at;
            return number(16);
        }
        bool isOctal = false;
        m_text.mid(m_at, 1).toUInt(&isOctal, 8);
        return isOctal ? number(8) : m_text.at(m_at++);
    }

    char number(int base)
    {
        uint code = 0;
        bool isDigit = true;
        for (; !atEnd(); ++m_at) {
            const uint digit = m_text.mid(m_at, 1).toUInt(&isDigit, base);
            if (!isDigit) {
                break;
            }
            code = code * static_cast<uint>(base) + digit;
        }
        return static_cast<char>(code & 0xff);
    }

    bool isUnsafe() const
    {
        Walker rest(*this);
        QByteArray name;
        while (!rest.atEnd() && name.size() < 9) {
            const char character = rest.next();
            if (character != '"' && character != '\n' && character != '\r') {
                name += character; // the others may stand in between
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
    const QByteArray text = file.read(largestFile);
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

void removeUnsafeSettings()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    const QString organization = folder + QLatin1Char('/') + QCoreApplication::organizationName();
    removeUnsafe(organization + QLatin1String(".conf"));
    removeUnsafe(organization + QLatin1Char('/') + QCoreApplication::applicationName() +
                 QLatin1String(".conf"));
}
