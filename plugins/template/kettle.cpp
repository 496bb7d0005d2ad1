#include "things/abstractthingtype.h"
#include "things/qabstractthing.h"

#include <QTimer>
#include <utility>

// One kettle. Everything runs on the gateway's thread: nothing here may block.
class Kettle : public QAbstractThing
{
    Q_OBJECT
public:
    explicit Kettle(const QVariantHash &settings)
    {
        setSettings(settings);
        connect(&m_timer, &QTimer::timeout, this, &Kettle::read);
    }
    // These three identify the kettle for good; the serial is that of the device.
    QString type() const override { return QStringLiteral("kettle"); }
    QString version() const override { return QStringLiteral("1"); }
    QString serial() const override { return QStringLiteral("0001"); }
    int kind() const override { return 1; }

    // Users can edit the values: use the default instead of one that is out of range.
    void setSettings(const QVariantHash &settings) override
    {
        const int pause = settings[QStringLiteral("pause")].toInt();
        m_timer.start(1000 * (pause >= 1 && pause <= 60 ? pause : 5));
    }
    QJsonObject state() const override { return {{"temperature", m_temperature}}; }
    // From the cloud: check every member. The gateway publishes the new state if this is true.
    bool applyUpdate(const QJsonObject &update) override
    {
        const int wanted = update[QStringLiteral("temperature")].toInt(-1);
        return wanted >= 0 && wanted <= 100 && std::exchange(m_temperature, wanted) != wanted;
    }

private:
    void read()
    {
        setActive(true); // from the first real value on
        if (m_temperature > 20) {
            m_temperature -= 1;
            emit stateChanged(state()); // the last statement: a receiver may delete the kettle
        }
    }
    QTimer m_timer{this};
    int m_temperature = 100;
};

class KettleType : public QObject, public AbstractThingType
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID AbstractThingType_iid FILE "kettle.json")
    Q_INTERFACES(AbstractThingType)
public:
    // The kettles that are attached now, by keys of our own.
    QHash<QString, QVariant> discover() override { return {{QStringLiteral("kettle"), 1}}; }
    QAbstractThing *create(const QString &key, const QVariant & /*descriptor*/,
                           const QVariantHash &settings, QObject ** /*ui*/) override
    {
        return key == QLatin1String("kettle") ? new Kettle(settings) : nullptr;
    }
    bool claims(const QString &key, const QAbstractThing *thing) override
    {
        return key == QLatin1String("kettle") && qobject_cast<const Kettle *>(thing) != nullptr;
    }
};

#include "kettle.moc"
