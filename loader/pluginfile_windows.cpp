#include "loader/pluginfile.h"

#include <QFile>

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <optional>

namespace {

template <typename Header>
std::optional<Header> headerAt(QFile &file, qint64 position)
{
    Header header;
    QByteArray bytes;
    if (file.seek(position)) {
        bytes = file.read(sizeof(header));
    }
    if (bytes.size() != int(sizeof(header))) {
        return {};
    }
    std::memcpy(&header, bytes.constData(), sizeof(header));
    return header;
}

} // namespace

// Qt searches the file for what the plugin says about itself, without regard to the file's form,
// and reads on behind the end of a file that was cut off there.
QString pluginFileFault(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return file.errorString();
    }
    const auto dos = headerAt<IMAGE_DOS_HEADER>(file, 0);
    if (!dos || dos->e_magic != IMAGE_DOS_SIGNATURE) {
        return QStringLiteral("it is no Windows library");
    }
    const auto nt = headerAt<IMAGE_NT_HEADERS>(file, dos->e_lfanew);
    if (!nt || nt->Signature != IMAGE_NT_SIGNATURE) {
        return QStringLiteral("it is no Windows library");
    }
    if (nt->FileHeader.Machine != IMAGE_FILE_MACHINE_AMD64) {
        return QStringLiteral("it is for another kind of processor");
    }
    qint64 position = dos->e_lfanew + qint64(offsetof(IMAGE_NT_HEADERS, OptionalHeader)) +
                      nt->FileHeader.SizeOfOptionalHeader;
    for (int i = 0; i < nt->FileHeader.NumberOfSections; ++i) {
        const auto section = headerAt<IMAGE_SECTION_HEADER>(file, position);
        if (!section || qint64(section->PointerToRawData) + section->SizeOfRawData > file.size()) {
            return QStringLiteral("it is cut off");
        }
        position += qint64(sizeof(*section));
    }
    return {};
}
