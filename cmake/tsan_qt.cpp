// For builds with the thread sanitizer, linked into every program. Debian's Qt is not built with
// it, so the sanitizer does not see how Qt orders what two threads do, and would report races that
// cannot happen. This tells it, where our code uses Qt for that: an event and whatever its poster
// did before happen before its delivery, a job of a QThreadPool after start() and before the end of
// waitForDone(), a functor of QMetaObject::invokeMethod() before it is deleted and before a
// blocking call returns, the objects of a QThread are destroyed before wait() returns. Nothing else
// is ordered by this: two threads that share data without such a step are still reported.
#include <QDir>
#include <QMetaObject>
#include <QThread>
#include <QThreadPool>

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*)(const volatile void *, size_t),
                                                         void (*)(const volatile void *));
extern "C" Q_DECL_EXPORT const char *__tsan_default_suppressions();
extern quintptr Q_CORE_EXPORT qtHookData[]; // the fifth is called at the end of ~QObject()

namespace {

// Qt's own function, which the one here replaces.
template <typename Function>
Function *original(const char *symbol)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, symbol));
}

// An event is allocated where it is posted: Qt has no hook for the posting itself.
constexpr size_t maxEventSize = 256;

void releaseMemory(const volatile void *memory, size_t size)
{
    if (size <= maxEventSize) {
        __tsan_release(const_cast<void *>(memory));
    }
}

bool acquireEvent(void **receiverAndEvent)
{
    __tsan_acquire(receiverAndEvent[1]);
    return false; // deliver it
}

void releaseThread(QObject * /*destroyed*/)
{
    __tsan_release(QThread::currentThread());
}

void install()
{
    __sanitizer_install_malloc_and_free_hooks(releaseMemory, [](const volatile void *) {});
    QInternal::registerCallback(QInternal::EventNotifyCallback, acquireEvent);
    qtHookData[4] = reinterpret_cast<quintptr>(releaseThread);
    // The sanitizer finds no names in libraries that are loaded after its first report, and would
    // then suppress nothing in them.
    const QDir plugins(KVG_PLUGIN_FOLDER);
    for (const QString &file : plugins.entryList({QStringLiteral("*.so")})) {
        dlopen(QFile::encodeName(plugins.filePath(file)).constData(), RTLD_LAZY);
    }
}
Q_CONSTRUCTOR_FUNCTION(install)

class Job : public QRunnable
{
public:
    Job(QThreadPool *pool, std::function<void()> function)
        : m_pool(pool)
        , m_function(std::move(function))
    {
        __tsan_release(this);
    }
    void run() override
    {
        __tsan_acquire(this);
        m_function();
        __tsan_release(m_pool);
    }

private:
    QThreadPool *m_pool;
    std::function<void()> m_function;
};

// Qt deletes it on the thread that drops the last reference.
class Functor : public QtPrivate::QSlotObjectBase
{
public:
    explicit Functor(QtPrivate::QSlotObjectBase *functor)
        : QSlotObjectBase(operate)
        , m_functor(functor)
    {
    }

private:
    static void operate(int which, QSlotObjectBase *self, QObject *receiver, void **args, bool *)
    {
        auto *const slot = static_cast<Functor *>(self);
        if (which == Call) {
            slot->m_functor->call(receiver, args);
            __tsan_release(self);
        } else if (which == Destroy) {
            __tsan_acquire(self);
            slot->m_functor->destroyIfLastRef();
            delete slot;
        }
    }

    QtPrivate::QSlotObjectBase *m_functor;
};

} // namespace

bool QMetaObject::invokeMethodImpl(QObject *object, QtPrivate::QSlotObjectBase *slot,
                                   Qt::ConnectionType type, void *ret)
{
    static const auto invoke =
        original<bool(QObject *, QtPrivate::QSlotObjectBase *, Qt::ConnectionType, void *)>(
            "_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseE"
            "N2Qt14ConnectionTypeEPv");
    auto *const functor = new Functor(slot);
    functor->ref();
    const bool isInvoked = invoke(object, functor, type, ret);
    if (type == Qt::BlockingQueuedConnection) {
        __tsan_acquire(functor);
    }
    functor->destroyIfLastRef();
    return isInvoked;
}

bool QThread::wait(QDeadlineTimer deadline)
{
    static const auto wait =
        original<bool(QThread *, QDeadlineTimer)>("_ZN7QThread4waitE14QDeadlineTimer");
    const bool isEnded = wait(this, deadline);
    __tsan_acquire(this);
    return isEnded;
}

void QThreadPool::start(std::function<void()> function, int priority)
{
    start(new Job(this, std::move(function)), priority);
}

bool QThreadPool::waitForDone(int milliseconds)
{
    static const auto wait = original<bool(QThreadPool *, int)>("_ZN11QThreadPool11waitForDoneEi");
    const bool isEnded = wait(this, milliseconds);
    __tsan_acquire(this);
    return isEnded;
}

// called_from_lib: what these libraries themselves allocate, free, copy or write to a file
// descriptor, since their locks are not seen; no access by our code, whatever calls it. Construct:
// the copy of an argument for a queued slot, which Qt makes after it has allocated the event; a
// race of the sender that copies with another thread that writes the original is hidden, too.
// deallocate: the end of a string whose other references Qt's own code dropped; that no reference
// is left is not checked. deleteOrphaned: the end of a functor that was connected. tzset_internal:
// the C library's time zone, under a lock of its own.
const char *__tsan_default_suppressions()
{
    return "called_from_lib:libQt5Core.so.5\n"
           "called_from_lib:libQt5Network.so.5\n"
           "called_from_lib:libglib-2.0.so.0\n"
           "race:QMetaTypeFunctionHelper<*>::Construct\n"
           "race:QTypedArrayData<*>::deallocate\n"
           "race:QObjectPrivate::ConnectionData::deleteOrphaned\n"
           "race:tzset_internal\n";
}
