#pragma once

#ifdef QT_WIDGETS_LIB
#include <QApplication>
#else
#include <QCoreApplication>
#endif
#include <QFile>
#include <QHash>
#include <QTemporaryDir>

#include <cstdint>
#include <cstdlib>
#include <random>

// A target is this function: it gives the bytes to the product as a foreign file, peer or device
// would, and requires what the product promises for any of them. They are not copied, so that the
// sanitizer sees every read past their end.
void fuzz(const QByteArray &bytes);

// libFuzzer keeps the input that ends the process. Not inlined: the trace then tells which call.
__attribute__((noinline)) inline void require(bool holds)
{
    if (!holds) {
        std::abort();
    }
}

// Calls `each` with the pieces of `bytes`, cut at places that they decide.
template <typename Call>
void inPieces(const QByteArray &bytes, const Call &each)
{
    std::minstd_rand random(qHash(bytes) + 1);
    for (int at = 0, size = 0; at < bytes.size(); at += size) {
        size = 1 + int(random() % 16);
        each(bytes.mid(at, size));
    }
}

// The profile is below TMPDIR, which run.sh removes; the log is for replayed inputs alone.
extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    if (!qEnvironmentVariableIsSet("KVG_FUZZ_LOG")) {
        qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &) {
            require(type != QtFatalMsg);
        });
    }
    static const QTemporaryDir profile;
    for (const char *const variable : {"HOME", "XDG_CONFIG_HOME", "XDG_CONFIG_DIRS",
                                       "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR"}) {
        qputenv(variable, QFile::encodeName(profile.path()));
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QCoreApplication::setOrganizationName(QStringLiteral("Corvalt"));
    QCoreApplication::setApplicationName(QStringLiteral("KVG-Gate"));
#ifdef QT_WIDGETS_LIB
    static auto *const application = new QApplication(*argc, *argv);
#else
    static auto *const application = new QCoreApplication(*argc, *argv);
#endif
    return application == nullptr ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz(QByteArray::fromRawData(reinterpret_cast<const char *>(data), int(size)));
    return 0;
}
