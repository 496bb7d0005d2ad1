// A device type that does what the environment variable KVG_BAD names, in discover() or in
// create().

#include "tests/support/fakething.h"
#include "things/abstractthingtype.h"

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace {

int recurse(volatile int *outer)
{
    volatile int here[64] = {};
    here[0] = *outer + 1;
    return here[0] > 0 ? recurse(here) + here[1] : 0;
}

[[noreturn]] void fail()
{
    throw std::runtime_error("bad");
}

} // namespace

class BadType : public QObject, public AbstractThingType
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID AbstractThingType_iid FILE "thing_bad.json")
    Q_INTERFACES(AbstractThingType)

public:
    QHash<QString, QVariant> discover() override
    {
        const QByteArray wanted = qgetenv("KVG_BAD");
        if (wanted == "abort") {
            std::abort();
        } else if (wanted == "throw") {
            fail();
        } else if (wanted == "thread") {
            std::thread(fail).join();
        } else if (wanted == "recurse") {
            volatile int outer = 0;
            recurse(&outer);
        } else if (wanted == "hang") {
            std::this_thread::sleep_for(std::chrono::hours(1));
        } else if (wanted == "slow") {
            std::this_thread::sleep_for(std::chrono::milliseconds(250));
        }
        return {{"1", 1}};
    }
    QAbstractThing *create(const QString & /*key*/, const QVariant & /*descriptor*/,
                           const QVariantHash & /*settings*/, QObject ** /*ui*/) override
    {
        if (qgetenv("KVG_BAD") == "null") {
            volatile int *volatile nothing = nullptr;
            *nothing = 1;
        } else if (qgetenv("KVG_BAD") == "timer") { // outside of every call
            startTimer(0);
        }
        return nullptr;
    }
    bool claims(const QString & /*key*/, const QAbstractThing * /*thing*/) override
    {
        return false;
    }

protected:
    void timerEvent(QTimerEvent * /*event*/) override { qFatal("bad timer"); }
};

#include "thing_bad.moc"
