#include "watch/crashhandler.h"

#include <QFile>

#include <atomic>
#include <charconv>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>
#include <unwind.h>

namespace {

constexpr int signalNumbers[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
constexpr int maxFrames = 500;

int recordFile = -1;
pid_t process = 0;
std::atomic_flag isNoted = ATOMIC_FLAG_INIT;

struct Walk
{
    bool isModuleKnown = false;
    int frames = 0;
};

// Whether this line of /proc/self/maps, "begin-end rights … path", is of the address.
bool covers(const char *line, const char *end, quintptr address)
{
    quintptr first = 0;
    quintptr last = 0;
    const auto middle = std::from_chars(line, end, first, 16);
    if (middle.ptr == end) {
        return false;
    }
    std::from_chars(middle.ptr + 1, end, last, 16);
    return address >= first && address < last;
}

// dladdr() locks.
void noteModuleAt(quintptr address)
{
    static char buffer[4096];
    static char line[1024];
    int length = 0;
    const int maps = ::open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
    for (ssize_t size = 0; (size = ::read(maps, buffer, sizeof(buffer))) > 0;) {
        for (ssize_t i = 0; i < size; ++i) {
            if (buffer[i] != '\n') {
                line[length] = buffer[i];
                length += length < int(sizeof(line)) - 1 ? 1 : 0;
                continue;
            }
            line[length] = 0;
            if (covers(line, line + length, address)) {
                const char *const name = std::strrchr(line, '/');
                noteCrashModule(name != nullptr ? name + 1 : "");
                ::close(maps);
                return;
            }
            length = 0;
        }
    }
    ::close(maps);
}

_Unwind_Reason_Code visit(_Unwind_Context *context, void *data)
{
    auto *const walk = static_cast<Walk *>(data);
    int isInterrupted = 0; // by the signal
    const quintptr address = _Unwind_GetIPInfo(context, &isInterrupted);
    if (isInterrupted != 0 && !walk->isModuleKnown) {
        walk->isModuleKnown = true;
        noteModuleAt(address);
    }
    return noteCrashFrame(address) || ++walk->frames == maxFrames ? _URC_END_OF_STACK
                                                                  : _URC_NO_REASON;
}

// All signals are blocked meanwhile: a second fault, on a broken stack, ends the process at once.
// glibc finds the unwind tables without a lock.
void handle(int number, siginfo_t *info, void * /*context*/)
{
    const bool isFork = ::getpid() != process;
    if (!isFork && !isNoted.test_and_set()) {
        noteCrash(number);
        Walk walk;
        _Unwind_Backtrace(visit, &walk);
    }
    // SA_RESETHAND has restored the default. A faulty instruction is now executed again.
    if (info->si_code <= 0) {
        ::raise(number);
    }
}

} // namespace

bool openRecordFile(const QString &path, const void *bytes, int size)
{
    const QByteArray name = QFile::encodeName(path);
    const QByteArray temporary = name + ".new";
    ::unlink(temporary.constData()); // of a start that was killed, perhaps as another user
    recordFile =
        ::open(temporary.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    return recordFile >= 0 && ::pwrite(recordFile, bytes, std::size_t(size), 0) == size &&
           ::rename(temporary.constData(), name.constData()) == 0;
}

void writeRecordFile(const void *bytes, int size, int position)
{
    // A full disk loses what the file would tell, no more.
    [[maybe_unused]] const ssize_t written =
        ::pwrite(recordFile, bytes, std::size_t(size), position);
}

void closeRecordFile()
{
    ::close(recordFile);
    recordFile = -1;
}

void installCrashHandler()
{
    process = ::getpid();
    // The first walk loads what it needs.
    int frames = 0;
    _Unwind_Backtrace(
        [](_Unwind_Context *, void *count) {
            return ++*static_cast<int *>(count) < 3 ? _URC_NO_REASON : _URC_END_OF_STACK;
        },
        &frames);
    struct sigaction action = {};
    action.sa_sigaction = handle;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | int(SA_RESETHAND);
    ::sigfillset(&action.sa_mask);
    for (const int number : signalNumbers) {
        ::sigaction(number, &action, nullptr);
    }
}

void guardStack()
{
    constexpr int size = 64 * 1024;
    alignas(16) static char stacks[2][size];
    static std::atomic<unsigned> used{0};
    const unsigned index = used++;
    if (index < std::size(stacks)) {
        const stack_t stack = {stacks[index], 0, size};
        ::sigaltstack(&stack, nullptr);
    }
}

AddressRange libraryAt(const void *address)
{
    struct Search
    {
        quintptr address;
        AddressRange found;
    } search = {quintptr(address), {}};
    ::dl_iterate_phdr(
        [](dl_phdr_info *library, std::size_t, void *data) {
            auto *const wanted = static_cast<Search *>(data);
            AddressRange range = {~quintptr(0), 0};
            for (int i = 0; i < library->dlpi_phnum; ++i) {
                const ElfW(Phdr) &part = library->dlpi_phdr[i];
                if (part.p_type == PT_LOAD) {
                    const quintptr begin = library->dlpi_addr + part.p_vaddr;
                    range.begin = qMin(range.begin, begin);
                    range.end = qMax(range.end, begin + quintptr(part.p_memsz));
                }
            }
            const bool isIt = wanted->address >= range.begin && wanted->address < range.end;
            if (isIt) {
                wanted->found = range;
            }
            return int(isIt);
        },
        &search);
    return search.found;
}
