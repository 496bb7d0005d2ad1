#include "tools/plugincheck/contract.h"

#include "loader/pluginloader.h"
#include "things/qabstractthing.h"
#include "tools/plugincheck/metadata.h"
#include "tools/plugincheck/samples.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLibrary>
#include <QMap>
#include <QMetaMethod>
#include <QPointer>
#include <QRandomGenerator>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace {

constexpr int maxDevices = 3;
constexpr int maxTime = 30000;          // milliseconds, for all inputs of a rule
constexpr int maxCallTime = 50;         // milliseconds
constexpr int maxStateSize = 64 * 1024; // bytes
constexpr int maxIdSize = 900;          // characters; the cloud adds its own id, 1024 are the limit

// A thing of another type.
class Stranger : public QAbstractThing
{
public:
    QString type() const override { return QStringLiteral("gateway"); }
    QString version() const override { return QStringLiteral("1"); }
    int kind() const override { return 2; }
    QString serial() const override { return QStringLiteral("1"); }
    QJsonObject state() const override { return {}; }
};

template <typename... Parts>
void require(bool holds, const QString &text, const Parts &...parts)
{
    if (!holds) {
        if constexpr (sizeof...(parts) > 0) {
            // All in one call, because a part may contain "%1".
            throw Verdict{Verdict::Broken, text.arg(parts...)};
        } else {
            throw Verdict{Verdict::Broken, text};
        }
    }
}

QString shortened(const QJsonObject &object)
{
    const QString text =
        QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact)).simplified();
    return text.size() <= 160 ? text : text.left(157) + QLatin1String("...");
}

QString callText(const char *function, const QJsonObject &argument)
{
    return QStringLiteral("%1(%2)").arg(QLatin1String(function), shortened(argument));
}

QStringList sortedKeys(const QHash<QString, QVariant> &devices)
{
    QStringList keys = devices.keys();
    keys.sort();
    return keys;
}

QString callText(const char *function, const QVariantHash &argument)
{
    return callText(function, QJsonObject::fromVariantHash(argument));
}

QString idFault(const QString &text)
{
    const auto isForbidden = [](uint c) {
        return c == '_' || c == '#' || c == '+' || QChar::category(c) == QChar::Other_Control ||
               QChar::isNonCharacter(c);
    };
    if (text.isEmpty()) {
        return QStringLiteral("is empty");
    }
    const QVector<uint> characters = text.toUcs4();
    return !text.isValidUtf16() || std::any_of(characters.begin(), characters.end(), isForbidden)
               ? QStringLiteral(
                     "is \"%1\": none may contain _, #, +, control characters or invalid "
                     "Unicode")
                     .arg(text.left(80))
               : QString();
}

QString stateFault(const QJsonObject &state)
{
    const QByteArray json = QJsonDocument(state).toJson(QJsonDocument::Compact);
    if (json.size() > maxStateSize) {
        return QStringLiteral("has %1 bytes as JSON; keep it below %2")
            .arg(json.size())
            .arg(maxStateSize);
    }
    return QJsonDocument::fromJson(json).object() == state
               ? QString()
               : QStringLiteral("cannot be stored as JSON without loss (NaN, invalid Unicode): ") +
                     shortened(state);
}

} // namespace

class Contract
{
public:
    Contract(const CheckOptions &options, const std::function<void(const QString &)> &tell)
        : m_options(options)
        , m_tell(tell)
        , m_loader(options.libraries)
        , m_random(options.seed)
    {
    }

    Verdict check(const Rule &rule)
    {
        try {
            m_tell(QStringLiteral("the loading of the file"));
            const QString fault = m_loader.loadFile(m_options.file);
            if (!fault.isEmpty()) {
                return {Verdict::Unusable, fault};
            }
            m_plugin = m_loader.plugins().first();
            QString unknown;
            m_settings = describedSettings(m_plugin.metadata, m_options.settings, &unknown);
            if (!unknown.isEmpty()) {
                return {Verdict::Unusable,
                        QStringLiteral("no setting takes this value: ") + unknown};
            }
            (this->*rule.check)();
            throwNoted();
            deleteDevices();
        } catch (const Verdict &verdict) {
            return verdict; // the things are left alone: the process ends
        }
        return {Verdict::Kept, m_remark};
    }

    void loads()
    {
        const QJsonArray dependencies = m_plugin.metadata["deps"].toArray();
        for (const QJsonValue &dependency : dependencies) {
            if (dependency["type"] != QLatin1String("lib")) {
                continue;
            }
            QLibrary library(QStringLiteral("%1/%2-%3")
                                 .arg(m_options.libraries, dependency["name"].toString(),
                                      QString::number(dependency["version"].toInt())));
            library.setLoadHints(QLibrary::PreventUnloadHint);
            require(library.load(),
                    "cannot load %1, which \"deps\" names (--libraries: its folder)",
                    library.fileName());
        }
        m_remark = QStringLiteral("version %1, made with kit %2")
                       .arg(m_plugin.metadata["version"].toInt())
                       .arg(m_plugin.metadata["sdk"].toInt(1));
    }

    void describesItself()
    {
        const QString fault = metadata::fault(m_options.file, m_plugin.metadata);
        require(fault.isEmpty(), "%1", fault);
    }

    void describesSettings()
    {
        const QString fault = metadata::settingsFault(m_plugin.metadata);
        require(fault.isEmpty(), "%1", fault);
    }

    void discovers()
    {
        // A type may look for its devices on a thread of its own, and find them one by one.
        QElapsedTimer timer;
        timer.start();
        QStringList keys;
        QStringList again;
        do {
            keys = sortedKeys(attached());
            again = sortedKeys(discover(m_settings));
        } while (keys != again && timer.elapsed() < m_options.milliseconds + 1000);
        if (again.isEmpty()) {
            throw Verdict{
                Verdict::NotChecked,
                QStringLiteral("no device found; --set may pass a setting by which one is")};
        }
        require(keys == again, "discover() tells other keys each time, such as \"%1\" and \"%2\"",
                keys.value(0), again.value(0));
        m_remark = QStringLiteral("found %1").arg(keys.size());
    }

    void creates()
    {
        createDevices();
        if (m_devices.empty()) {
            throw Verdict{Verdict::NotChecked, QStringLiteral("create() returned no thing")};
        }
        createDevices();
        delete create(QStringLiteral("no such key"), QVariant(), m_settings);
    }

    void identifies()
    {
        createDevices();
        const QString name = m_plugin.metadata["name"].toString();
        forEachDevice([&](Device &device) {
            const QAbstractThing &thing = *device.thing;
            require(thing.type() == name,
                    "type() is \"%1\", but \"name\" of the description is \"%2\"", thing.type(),
                    name);
            require(thing.kind() == 1, "kind() is not 1");
            for (const auto &[function, text] :
                 {std::pair("type()", thing.type()), std::pair("version()", thing.version()),
                  std::pair("serial()", thing.serial())}) {
                const QString fault = idFault(text);
                require(fault.isEmpty(), "%1 %2", QLatin1String(function), fault);
            }
            require(device.id.size() <= maxIdSize, "the id is longer than %1 characters",
                    QString::number(maxIdSize));
            const QList<QString> ids = m_idOfKey.values();
            require(ids.count(device.id) == 1, "two devices have the id %1", device.id);
        });
        verify(QStringLiteral("a second call"));
        apply(m_settings);
        verify(QStringLiteral("setSettings()"));
        createDevices(); // compares the ids with those of before
    }

    void claims()
    {
        createDevices();
        const QStringList keys =
            discover(m_settings).keys().mid(0, 50) + QStringList{"", "no such key"};
        const Stranger stranger;
        const auto claimed = [this](const QString &key, const QAbstractThing *thing) {
            m_tell(QStringLiteral("claims()"));
            return m_plugin.type->claims(key, thing);
        };
        for (const QString &key : keys) {
            require(!claimed(key, &stranger), "claims() is true for a thing of another type");
        }
        forEachDevice([&](Device &device) {
            for (const QString &key : keys) {
                require(claimed(key, device.thing) == (key == device.key),
                        key == device.key ? "claims() is false for the thing of its own key \"%1\""
                                          : "claims() is true for the thing of another key, \"%1\"",
                        key);
            }
        });
        if (m_plugin.keyed != nullptr) {
            m_tell(QStringLiteral("deviceKey()"));
            require(m_plugin.keyed->deviceKey(&stranger).isEmpty(),
                    "deviceKey() is not empty for a thing of another type");
            forEachDevice([&](Device &device) {
                require(m_plugin.keyed->deviceKey(device.thing) == device.key,
                        "deviceKey() and claims() differ for \"%1\"", device.key);
            });
        }
    }

    void reports()
    {
        createDevices();
        m_tell(QStringLiteral("state()"));
        forEachDevice([&](Device &device) {
            const QJsonObject state = device.thing->state();
            const QString fault = stateFault(state);
            require(fault.isEmpty(), "state() %1", fault);
            require(device.thing.isNull() || device.thing->state() == state,
                    "two calls of state() differ: it must come from memory");
        });
    }

    void takesSettings()
    {
        createDevices();
        tryAll<QVariantHash>(
            samples::wrongSettings(m_plugin.metadata, m_settings),
            [this] { return samples::randomSettings(m_settings, m_random); },
            [this](const QVariantHash &settings) {
                apply(settings);
                verify(callText("setSettings", settings));
                m_idOfKey.clear(); // with other settings, a key may be another device's
                createFrom(discover(settings), settings);
                verify(callText("create", settings));
            });
    }

    void appliesUpdates()
    {
        createDevices();
        QJsonObject state;
        forEachDevice([&](Device &device) { state = device.thing->state(); });
        tryAll<QJsonObject>(
            samples::wrongUpdates(state), [&] { return samples::randomUpdate(state, m_random); },
            [this](const QJsonObject &update) {
                forEachDevice([&](Device &device) { applyUpdate(device, update); });
                verify(callText("applyUpdate", update));
            });
    }

    void emitsOnItsThread()
    {
        createDevices();
        QMap<QString, QJsonObject> before;
        forEachDevice([&](Device &device) { before[device.key] = device.thing->state(); });
        waitForEvents(m_options.milliseconds);
        throwNoted();
        int changes = 0;
        int published = 0;
        forEachDevice([&](Device &device) {
            changes += device.changes;
            published += device.thing->isActive() ? device.changes : 0;
            require(device.changes > 0 || device.thing->state() == before[device.key],
                    "the state has changed by itself, but stateChanged() was not emitted");
        });
        m_remark = QStringLiteral("stateChanged() came %1 times").arg(changes);
        if (published < changes) {
            m_remark += QStringLiteral(", of things without setActive(true): not published");
        }
        verify(QStringLiteral("its own events"));
    }

    void mayBeDeleted()
    {
        m_isListening = false; // what the signals tell is another rule's
        for (int i = 0; i < 2; ++i) {
            createDevices();
            m_tell(QStringLiteral("the deletion of a new thing"));
            deleteDevices();
        }
        // A receiver deletes the sender, or every other thing.
        for (const bool ofSender : {true, false}) {
            createDevices();
            const QString where =
                ofSender ? QStringLiteral("; a receiver of its signal deleted the thing")
                         : QStringLiteral("; a receiver of its signal deleted others");
            for (const auto &sender : m_devices) {
                const auto remove = [this, ofSender, sender = sender.get()] {
                    for (const auto &device : m_devices) {
                        if ((device.get() == sender) == ofSender) {
                            delete device->thing.data();
                        }
                    }
                };
                QObject::connect(sender->thing, &QAbstractThing::stateChanged, remove);
                QObject::connect(sender->thing, &QAbstractThing::mediumGone, remove);
            }
            m_tell(QStringLiteral("the events of things") + where);
            waitForEvents(m_options.milliseconds / 2);
            const auto extremes = samples::extremeSettings(m_plugin.metadata, m_settings);
            for (const QVariantHash &settings : extremes) {
                forEachDevice([&](Device &device) {
                    m_tell(callText("setSettings", settings) + where);
                    device.thing->setSettings(settings);
                });
            }
            deleteDevices();
        }
        createDevices();
        while (!m_devices.empty()) {
            m_tell(QStringLiteral("the deletion of a thing while others live"));
            delete m_devices.front()->thing.data();
            verify(QStringLiteral("the deletion of another thing"));
        }
    }

    // The shortest of some equal calls counts, because the computer may be busy.
    void neverBlocks()
    {
        QMap<QString, qint64> shortest;
        for (int round = 0; round < 5; ++round) {
            const auto measure = [&](const char *function, const auto &call) {
                m_tell(QLatin1String(function));
                QElapsedTimer timer;
                timer.start();
                call();
                const QString name = QLatin1String(function);
                shortest[name] = qMin(shortest.value(name, timer.elapsed()), timer.elapsed());
            };
            QHash<QString, QVariant> found;
            if (m_plugin.configurable != nullptr) {
                measure("configure()", [&] { m_plugin.configurable->configure(m_settings); });
            }
            measure("discover()", [&] { found = m_plugin.type->discover(); });
            if (found.isEmpty()) {
                continue;
            }
            const QString key = found.keys().first();
            std::unique_ptr<QAbstractThing> thing;
            measure("create()", [&] { thing.reset(create(key, found[key], m_settings)); });
            if (!thing) {
                continue;
            }
            measure("claims()", [&] { m_plugin.type->claims(key, thing.get()); });
            measure("state()", [&] { thing->state(); });
            measure("shortid()", [&] { thing->shortid(); });
            measure("setSettings()", [&] { thing->setSettings(m_settings); });
            QJsonObject update = thing->state();
            for (auto it = update.begin(); it != update.end(); ++it) {
                if (it->isBool()) {
                    *it = !it->toBool();
                } else if (it->isDouble()) {
                    *it = it->toDouble() > 0 ? it->toDouble() - 1 : it->toDouble() + 1;
                }
            }
            measure("applyUpdate()", [&] { thing->applyUpdate(update); });
            measure("the destructor", [&] { thing.reset(); });
        }
        for (auto it = shortest.begin(); it != shortest.end(); ++it) {
            require(it.value() <= maxCallTime,
                    "%1 takes %2 ms each time: work on a thread of your own", it.key(),
                    QString::number(it.value()));
        }
    }

private:
    // A thing and what its signals told.
    struct Device
    {
        QString key;
        QString id;
        QPointer<QAbstractThing> thing;
        int changes = 0;
        bool isGone = false;
    };

    // Every wrong input, then random ones, but no longer than half a minute.
    template <typename Input>
    void tryAll(const QVector<Input> &wrong, const std::function<Input()> &random,
                const std::function<void(const Input &)> &attempt)
    {
        QElapsedTimer timer;
        timer.start();
        const bool hasDevices = !m_devices.empty();
        int count = 0;
        while (count < wrong.size() + m_options.rounds && timer.elapsed() < maxTime) {
            if (m_devices.empty() && hasDevices) {
                createDevices();
            }
            attempt(count < wrong.size() ? wrong[count] : random());
            ++count;
        }
        m_remark = QStringLiteral("tried %1%2")
                       .arg(count)
                       .arg(hasDevices ? QString() : QStringLiteral(", without a device"));
    }

    void applyUpdate(Device &device, const QJsonObject &update)
    {
        const QString call = callText("applyUpdate", update);
        const int changes = device.changes;
        const QJsonObject before = device.thing->state();
        m_tell(call);
        const bool isApplied = device.thing->applyUpdate(update);
        const bool hasEmitted = device.changes > changes;
        require(!isApplied || !hasEmitted,
                "%1 returned true and emitted stateChanged(): do one of them", call);
        if (!hasEmitted && !device.isGone && !device.thing.isNull()) {
            const bool isChanged = device.thing->state() != before;
            require(isApplied || !isChanged, "%1 changed the state, but returned false", call);
            require(isChanged || !isApplied, "%1 returned true, but state() is as before", call);
        }
    }

    QHash<QString, QVariant> discover(const QVariantHash &settings)
    {
        if (m_plugin.configurable != nullptr) {
            m_tell(callText("configure", settings));
            m_plugin.configurable->configure(settings);
        }
        m_tell(QStringLiteral("discover()"));
        return m_plugin.type->discover();
    }

    // Waits for the first device.
    QHash<QString, QVariant> attached()
    {
        QElapsedTimer timer;
        timer.start();
        QHash<QString, QVariant> found = discover(m_settings);
        while (found.isEmpty() && timer.elapsed() < m_options.milliseconds) {
            waitForEvents(100);
            found = discover(m_settings);
        }
        return found;
    }

    QAbstractThing *create(const QString &key, const QVariant &descriptor,
                           const QVariantHash &settings)
    {
        m_tell(QStringLiteral("create(\"%1\")").arg(key));
        QObject *ui = nullptr;
        QAbstractThing *const thing = m_plugin.type->create(key, descriptor, settings, &ui);
        if (ui != nullptr) {
            require(!ui->isWidgetType() && ui->parent() == nullptr &&
                        ui->thread() == QThread::currentThread() &&
                        ui->metaObject()->indexOfMethod("createWidget(QWidget*)") >= 0,
                    "*ui is not a plain QObject without parent, on this thread, with an invokable "
                    "createWidget(QWidget *)");
            delete ui;
        }
        return thing;
    }

    void createDevices()
    {
        deleteDevices();
        createFrom(attached(), m_settings);
    }

    void createFrom(const QHash<QString, QVariant> &found, const QVariantHash &settings)
    {
        deleteDevices();
        for (const QString &key : sortedKeys(found).mid(0, maxDevices)) {
            auto device = std::make_unique<Device>();
            device->key = key;
            device->thing = create(key, found[key], settings);
            if (device->thing.isNull()) {
                continue;
            }
            require(device->thing->thread() == QThread::currentThread(),
                    "create() returned a thing that lives on another thread");
            device->id = device->thing->shortid();
            const QString id = m_idOfKey.value(key, device->id);
            require(id == device->id, "the device of key \"%1\" came back as %2 instead of %3", key,
                    device->id, id);
            m_idOfKey[key] = id;
            if (m_isListening) {
                listen(*device);
            }
            m_devices.push_back(std::move(device));
        }
    }

    // Directly, whatever thread emits. The device outlives its thing.
    void listen(Device &device)
    {
        const QThread *const thread = QThread::currentThread();
        QAbstractThing *const thing = device.thing;
        const auto isHere = [this, thread](const char *signal) {
            if (QThread::currentThread() != thread) {
                note(QStringLiteral("%1 was emitted on another thread: emit it by a queued call")
                         .arg(QLatin1String(signal)));
            }
            return QThread::currentThread() == thread;
        };
        QObject::connect(
            thing, &QAbstractThing::stateChanged, [=, &device](const QJsonObject &state) {
                if (isHere("stateChanged()")) {
                    ++device.changes;
                    const QString fault = stateFault(state);
                    if (!fault.isEmpty()) {
                        note(QStringLiteral("the state of stateChanged() ") + fault);
                    } else if (thing->state() != state) {
                        note(QStringLiteral("stateChanged() carried %1, but state() is %2")
                                 .arg(shortened(state), shortened(thing->state())));
                    }
                }
            });
        QObject::connect(thing, &QAbstractThing::mediumGone, [=, &device] {
            if (!isHere("mediumGone()")) {
                return;
            }
            if (std::exchange(device.isGone, true)) {
                note(QStringLiteral("mediumGone() was emitted twice"));
            }
            if (m_plugin.type->claims(device.key, thing)) {
                note(QStringLiteral("claims() is still true after mediumGone()"));
            }
        });
        QObject::connect(thing, &QAbstractThing::serialChanged,
                         [=, &device](const QString & /*old*/, const QString &current) {
                             if (isHere("serialChanged()") && thing->serial() == current) {
                                 device.id = thing->shortid();
                                 m_idOfKey[device.key] = device.id;
                             }
                         });
    }

    void verify(const QString &call)
    {
        throwNoted();
        forEachDevice([&](Device &device) {
            require(device.thing->shortid() == device.id, "after %1, the device %2 calls itself %3",
                    call, device.id, device.thing->shortid());
            m_tell(QStringLiteral("state() after ") + call);
            const QString fault = stateFault(device.thing->state());
            require(fault.isEmpty(), "after %1, state() %2", call, fault);
        });
        throwNoted();
    }

    void apply(const QVariantHash &settings)
    {
        forEachDevice([&](Device &device) {
            m_tell(callText("setSettings", settings));
            device.thing->setSettings(settings);
        });
    }

    // Of those that are left after each call. Things that are gone are deleted.
    void forEachDevice(const std::function<void(Device &)> &action)
    {
        for (const auto &device : m_devices) {
            if (!device->thing.isNull() && !device->isGone) {
                action(*device);
            }
        }
        const auto isOver = [this](const std::unique_ptr<Device> &device) {
            require(
                !device->thing.isNull() || device->isGone || !m_isListening,
                "the thing of \"%1\" deleted itself, but the gateway owns it: emit mediumGone()",
                device->key);
            if (device->isGone) {
                delete device->thing.data();
            }
            return device->thing.isNull();
        };
        m_devices.erase(std::remove_if(m_devices.begin(), m_devices.end(), isOver),
                        m_devices.end());
    }

    void deleteDevices()
    {
        for (const auto &device : m_devices) {
            if (!device->thing.isNull()) {
                m_tell(QStringLiteral("the destructor of a thing"));
                delete device->thing.data();
            }
        }
        m_devices.clear();
    }

    // In short turns, each of which is told, so that a slot that hangs is noticed.
    void waitForEvents(int milliseconds)
    {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < milliseconds) {
            m_tell(QStringLiteral("a slot or timer of its own"));
            QEventLoop loop;
            QTimer::singleShot(100, &loop, &QEventLoop::quit);
            loop.exec();
        }
    }

    void note(const QString &fault)
    {
        const std::lock_guard lock(m_noteMutex);
        if (m_noted.isEmpty()) {
            m_noted = fault;
        }
    }

    void throwNoted()
    {
        const std::lock_guard lock(m_noteMutex);
        require(m_noted.isEmpty(), "%1", m_noted);
    }

    const CheckOptions m_options;
    const std::function<void(const QString &)> m_tell;
    PluginLoader m_loader;
    LoadedPlugin m_plugin;
    QVariantHash m_settings;
    QRandomGenerator m_random;
    std::vector<std::unique_ptr<Device>> m_devices;
    QHash<QString, QString> m_idOfKey;
    QString m_remark;
    bool m_isListening = true;
    std::mutex m_noteMutex;
    QString m_noted;
};

const QVector<Rule> &contractRules()
{
    using C = Contract;
    static const QVector<Rule> all = {
        {"load", "the gateway can load the file", &C::loads, true, false},
        {"metadata", "the description has the right form", &C::describesItself, false, false},
        {"form", "the form shows every setting", &C::describesSettings, false, false},
        {"discover", "discover() tells the same twice", &C::discovers, true, false},
        {"create", "create() makes things, again and again", &C::creates, true, true},
        {"state", "the state is complete, stable and fit for publishing", &C::reports, true, true},
        {"identity", "type, version and serial identify the device", &C::identifies, false, true},
        {"claims", "a thing claims its own key only", &C::claims, false, true},
        {"settings", "wrong settings do no harm", &C::takesSettings, false, false},
        {"updates", "wrong updates do no harm", &C::appliesUpdates, false, true},
        {"signals", "signals come on the gateway's thread", &C::emitsOnItsThread, false, true},
        {"deletion", "things may be deleted at any time", &C::mayBeDeleted, false, true},
        {"speed", "no call takes longer than 50 ms", &C::neverBlocks, false, false}};
    return all;
}

Verdict checkRule(const Rule &rule, const CheckOptions &options,
                  const std::function<void(const QString &)> &tell)
{
    return Contract(options, tell).check(rule);
}
