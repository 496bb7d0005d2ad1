// A device type with one fault, which the environment chooses. Without one it keeps the contract.

#include "things/abstractthingtype.h"
#include "things/qabstractthing.h"

#include <QPointer>
#include <QThread>
#include <QTimer>

#include <csignal>
#include <cstdio>
#include <cstdlib>

struct Port
{
    QString number;
};
Q_DECLARE_METATYPE(Port)

namespace {

bool is(const char *fault)
{
    return qgetenv("KVG_FAULT") == fault;
}

void crash()
{
    std::raise(SIGSEGV);
}

class BrokenThing : public QAbstractThing
{
public:
    explicit BrokenThing(int number)
        : m_number(number)
    {
        QTimer::singleShot(100, this, [this] {
            if (is("deletes itself")) {
                delete this;
                return;
            }
            m_level += 1;
            if (is("silent change")) {
                return;
            }
            const auto report = [this] {
                emit stateChanged(is("false report") ? QJsonObject{{"x", 1}} : state());
            };
            if (is("other thread")) {
                std::unique_ptr<QThread> thread(QThread::create(report));
                thread->start();
                thread->wait();
            } else {
                const QPointer<QObject> self = this;
                report();
                if (is("needs itself") && !self) {
                    crash();
                }
            }
        });
        if (is("gone twice") || is("claims for good")) {
            QTimer::singleShot(200, this, &QAbstractThing::mediumGone);
        }
        if (is("gone twice")) {
            QTimer::singleShot(300, this, &QAbstractThing::mediumGone);
        }
        connect(this, &QAbstractThing::mediumGone, this, [this] { m_isGone = true; });
    }
    QString type() const override { return "broken"; }
    QString version() const override { return "1"; }
    int kind() const override { return 1; }
    QString serial() const override
    {
        static int calls = 0;
        const int number = is("serial changes") ? m_number + 10 * calls++ : m_number;
        return QString::number(number) + (is("underscore") ? "_" : u8"\U0001F4A1");
    }
    QJsonObject state() const override
    {
        static int calls = 0;
        return {{"level", is("unstable state") ? ++calls : m_level},
                {"text", QString(is("large state") ? 70000 : 1, 'x')}};
    }
    void setSettings(const QVariantHash &settings) override
    {
        if (is("crash in settings") && settings["pace"].type() == QVariant::String) {
            crash();
        }
    }
    bool applyUpdate(const QJsonObject &update) override
    {
        if (is("crash in update") && update["level"].isArray()) {
            crash();
        }
        const int level = update["level"].toInt(-1);
        if (level < 0 || level > 100 || level == m_level) {
            return is("idle update");
        }
        m_level = level;
        if (is("loud update")) {
            emit stateChanged(state());
        }
        return !is("silent update");
    }
    bool m_isGone = false;
    const int m_number;

private:
    int m_level = 50;
};

} // namespace

class Broken : public QObject, public AbstractThingType
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID AbstractThingType_iid FILE "thing_broken.json")
    Q_INTERFACES(AbstractThingType)

public:
    QHash<QString, QVariant> discover() override
    {
        while (is("hang")) {
            QThread::msleep(1);
        }
        while (is("prints for ever")) {
            std::puts("Still here.");
        }
        if (is("ends the process")) {
            std::exit(0);
        }
        QThread::msleep(is("slow") ? 60 : 0);
        if (is("no device")) {
            return {};
        }
        // The second device is found later, and descriptors cannot be compared.
        QHash<QString, QVariant> found = {{"1", QVariant::fromValue(Port{"1"})}};
        if (m_scans++ > 0) {
            found["2"] = QVariant::fromValue(Port{"2"});
        }
        return found;
    }
    QAbstractThing *create(const QString &, const QVariant &port, const QVariantHash &,
                           QObject **) override
    {
        if (is("crash")) {
            crash();
        }
        return port.isValid() ? new BrokenThing(port.value<Port>().number.toInt()) : nullptr;
    }
    bool claims(const QString &key, const QAbstractThing *thing) override
    {
        const auto *own = dynamic_cast<const BrokenThing *>(thing);
        return own != nullptr && (!own->m_isGone || is("claims for good")) &&
               (is("claims all") || key == QString::number(own->m_number));
    }

private:
    int m_scans = 0;
};

#include "thing_broken.moc"
