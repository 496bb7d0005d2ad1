// One side of the exchange of backups between systems. Each step is a process of its own, so that
// values come from what the system stored.
#include "cloud/credentialstore.h"
#include "runner/zugatewrunner.h"
#include "settings/devicepool.h"
#include "settings/settingsfile.h"
#include "settings/settingsstore.h"
#include "tests/support/files.h"

#include <QCoreApplication>
#include <QSslCertificate>
#include <QSslKey>

#include <limits>

namespace {

const QString name = QString::fromUtf8("Лампа é \xf0\x9f\x92\xa1");
const QByteArray geometry("@\0\xff\r\n\"%,;)", 10);

const QVariantMap values{
    {"enabled", false},
    {"folder", "C:\\Users\\x"},
    {"text", QString::fromUtf8("@Variant(é, ;\"\\x41\n%")},
    {"bytes", "@ByteArray(x)"},
    {"nul", QString("a") + QChar(0) + "b"},
    {"empty", ""},
    {"real", -0.1},
    {"least", std::numeric_limits<int>::min()},
    {"unsigned", std::numeric_limits<quint32>::max()},
    {"wide", std::numeric_limits<qint64>::min()},
    {"widest", std::numeric_limits<quint64>::max()},
    {"list", QStringList{"a,b", "@", name}},
    {"gaps", QStringList{"", "a", ""}},
};

void fill(const QByteArray &certificate, const QByteArray &key)
{
    SettingsStore store;
    store.set(keys::WindowGeometry, geometry);
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        store.setPluginValue(name, it.key(), it.value());
    }
    DevicePool::update([](DevicePool &pool) { pool.put({"lamp", "1", "7", "r", name}); });
    QString error;
    CredentialStore().storeIssuedCredentials(certificate, key, error);
}

bool check(const QByteArray &certificate, const QByteArray &key)
{
    const SettingsStore store;
    QVariantHash stored = store.pluginValues(name);
    bool good = stored.size() == values.size() && store.value(keys::WindowGeometry) == geometry &&
                DevicePool::read().at(0).alias == name &&
                CredentialStore().certificate() == QSslCertificate(certificate) &&
                CredentialStore().key() == QSslKey(key, QSsl::Rsa);
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        const QVariant found = storedPluginValue(stored[it.key()], "string");
        if (found != storedPluginValue(*it, "string")) {
            qWarning() << it.key() << "is" << found;
            good = false;
        }
    }
    return good;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication::setOrganizationName("Corvalt");
    QCoreApplication::setApplicationName("KVG-Gate");
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    secureSettings();
    if (arguments.at(1) == "export") {
        ZugatewRunner().exportSettings(arguments.at(2));
        return 0;
    }
    if (arguments.at(1) == "import") {
        ZugatewRunner().importSettings(arguments.at(2));
        return 0;
    }
    const QByteArray certificate = readFile(arguments.at(2));
    const QByteArray key = readFile(arguments.at(3));
    if (arguments.at(1) == "fill") {
        fill(certificate, key);
    }
    return check(certificate, key) ? 0 : 1;
}
