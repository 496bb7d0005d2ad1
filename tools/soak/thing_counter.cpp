// A device type for ./dev soak: registered things that count, also while the cloud is away, until
// the folder KVG_SOAK_FOLDER contains a file "stop". Before a number is published, a file in that
// folder, named by the serial, gets a line "number nanoseconds" (monotonic).

#include "things/abstractthingtype.h"
#include "things/qabstractthing.h"

#include <QDir>
#include <QFile>
#include <QTimer>

#include <chrono>

class CounterThing : public QAbstractThing
{
    Q_OBJECT

public:
    CounterThing(const QString &serial, int interval)
        : m_serial(serial)
        , m_record(m_folder.filePath(serial))
    {
        if (!m_record.open(QIODevice::ReadWrite | QIODevice::Append | QIODevice::Unbuffered)) {
            qFatal("The record of a counter cannot be opened");
        }
        m_record.seek(0);
        m_number = m_record.readAll().count('\n'); // goes on after a restart
        connect(&m_timer, &QTimer::timeout, this, &CounterThing::count);
        m_timer.start(interval);
        setActive(true);
    }

    QString type() const override { return QStringLiteral("counter"); }
    QString version() const override { return QStringLiteral("1"); }
    int kind() const override { return 1; }
    QString serial() const override { return m_serial; }
    QJsonObject state() const override { return {{"number", m_number}, {"fill", m_fill}}; }

private:
    void count()
    {
        if (regid().isEmpty() || m_folder.exists("stop")) {
            return;
        }
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        const auto nanoseconds = std::chrono::nanoseconds(now).count();
        ++m_number;
        m_record.write(QByteArray::number(m_number) + ' ' +
                       QByteArray::number(qint64(nanoseconds)) + '\n');
        emit stateChanged(state());
    }

    const QString m_serial;
    const QString m_fill = QString(1000, 'x'); // seconds of it need several blocks on the disk
    const QDir m_folder{qEnvironmentVariable("KVG_SOAK_FOLDER")};
    QFile m_record;
    QTimer m_timer;
    int m_number = 0; // the last one
};

class CounterType : public QObject, public AbstractThingType
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID AbstractThingType_iid FILE "counter.json")
    Q_INTERFACES(AbstractThingType)

public:
    QHash<QString, QVariant> discover() override
    {
        QHash<QString, QVariant> counters;
        for (int i = 0; i < 16; ++i) {
            counters.insert(QString::number(i), 30 + 6 * i); // milliseconds between two numbers
        }
        return counters;
    }
    QAbstractThing *create(const QString &key, const QVariant &descriptor,
                           const QVariantHash & /*settings*/, QObject ** /*ui*/) override
    {
        return new CounterThing(key, descriptor.toInt());
    }
    bool claims(const QString &key, const QAbstractThing *thing) override
    {
        return qobject_cast<const CounterThing *>(thing) != nullptr && thing->serial() == key;
    }
};
#include "thing_counter.moc"
