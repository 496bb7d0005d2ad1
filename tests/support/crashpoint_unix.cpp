#include "tests/support/crashpoint.h"

#include <QDirIterator>
#include <QFile>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <map>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

// The job is traced as by a debugger, so that no call is missed, whatever library makes it.

namespace {

using Content = std::map<ino_t, QByteArray>;

// Those that change no file. A write into a shared mapping would not be seen.
// clang-format off
constexpr int harmless[] = {
    SYS_read, SYS_pread64, SYS_close, SYS_stat, SYS_lstat, SYS_fstat, SYS_newfstatat, SYS_statx,
    SYS_fstatfs, SYS_access, SYS_faccessat, SYS_readlink, SYS_getdents64, SYS_getcwd, SYS_lseek,
    SYS_fcntl, SYS_flock, SYS_fadvise64, SYS_mmap, SYS_munmap, SYS_mprotect, SYS_mremap,
    SYS_madvise, SYS_brk, SYS_futex, SYS_getrandom, SYS_getpid, SYS_gettid, SYS_getuid, SYS_geteuid,
    SYS_poll, SYS_ppoll, SYS_eventfd2, SYS_clone, SYS_clone3, SYS_uname, SYS_prctl, SYS_exit,
    SYS_exit_group, SYS_rt_sigaction, SYS_rt_sigprocmask, SYS_rseq, SYS_sched_yield,
    SYS_sigaltstack, SYS_set_robust_list, SYS_sched_getaffinity, SYS_clock_nanosleep};
// clang-format on
constexpr int withFile[] = {SYS_write,     SYS_pwrite64,  SYS_fsync,
                            SYS_fdatasync, SYS_ftruncate, SYS_fchmod};

template <typename Numbers>
bool isOneOf(const user_regs_struct &call, const Numbers &numbers)
{
    return std::find(std::begin(numbers), std::end(numbers), int(call.orig_rax)) !=
           std::end(numbers);
}

QString profile()
{
    return QDir::cleanPath(QDir::homePath() + "/..");
}

QString descriptor(pid_t process, quint64 number)
{
    return QStringLiteral("/proc/%1/fd/%2").arg(process).arg(number);
}

bool mayChangeFiles(pid_t process, const user_regs_struct &call)
{
    if (isOneOf(call, withFile)) {
        return QFile::symLinkTarget(descriptor(process, call.rdi)).startsWith(profile());
    }
    return call.orig_rax == SYS_openat ? (call.rdx & (O_CREAT | O_TRUNC)) != 0
                                       : !isOneOf(call, harmless);
}

ino_t inodeOf(const QString &path)
{
    struct stat status = {};
    ::stat(QFile::encodeName(path).constData(), &status);
    return status.st_ino;
}

QByteArray read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

template <typename Call>
void forEachFile(const Call &call)
{
    QDirIterator files(profile(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        call(files.next());
    }
}

void noteSynced(Content &synced, pid_t process, const user_regs_struct &call)
{
    if (call.orig_rax == SYS_fsync || call.orig_rax == SYS_fdatasync) {
        const QString file = descriptor(process, call.rdi);
        synced[inodeOf(file)] = read(file);
    } else if (call.orig_rax == SYS_openat &&
               QFile::symLinkTarget(descriptor(process, call.rax)).startsWith(profile()) &&
               QFileInfo(descriptor(process, call.rax)).size() == 0) {
        synced.erase(inodeOf(descriptor(process, call.rax))); // perhaps of a file that was deleted
    }
}

void losePower(Content &synced)
{
    forEachFile([&](const QString &path) {
        const QByteArray left = synced[inodeOf(path)];
        QFile file(path);
        if (left != read(path) && file.open(QIODevice::WriteOnly)) {
            file.write(left);
        }
    });
}

// Returns whether it ended the process.
bool trace(pid_t process, int callToEnd, crashpoint::End end)
{
    using crashpoint::End;
    Content synced;
    int calls = 0;
    bool isEnding = false;
    std::map<pid_t, bool> isInCall; // of a thread
    int status = 0;
    for (pid_t thread = 0; (thread = ::waitpid(-1, &status, __WALL)) > 0;) {
        if (!WIFSTOPPED(status)) {
            if (thread == process && status != 0 && !isEnding) {
                qFatal("the job failed");
            }
            continue; // until none is left
        }
        const int signal = WSTOPSIG(status);
        if (signal == SIGSTOP && isInCall.empty()) {
            ::ptrace(PTRACE_SETOPTIONS, thread, nullptr,
                     PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_EXITKILL);
            forEachFile([&](const QString &path) { synced[inodeOf(path)] = read(path); });
        } else if (signal == (SIGTRAP | 0x80)) {
            user_regs_struct call = {};
            ::ptrace(PTRACE_GETREGS, thread, nullptr, &call);
            const bool hasReturned = isInCall[thread];
            isInCall[thread] = !hasReturned;
            const bool hasSucceeded = hasReturned && qint64(call.rax) >= 0;
            const bool isWrite = call.orig_rax == SYS_write || call.orig_rax == SYS_pwrite64;
            if (hasSucceeded) {
                noteSynced(synced, process, call);
            }
            const bool counts = end == End::Half ? isWrite && !hasReturned : hasSucceeded;
            if (isEnding) {
                ::kill(process, SIGKILL); // half is written
            } else if (counts && mayChangeFiles(process, call) && ++calls == callToEnd) {
                isEnding = true;
                call.rdx /= 2;
                end == End::Half ? ::ptrace(PTRACE_SETREGS, thread, nullptr, &call)
                                 : ::kill(process, SIGKILL);
            }
        }
        const bool isOurs = signal == SIGSTOP || (signal & ~0x80) == SIGTRAP;
        ::ptrace(PTRACE_SYSCALL, thread, nullptr, isOurs ? 0 : signal);
    }
    if (end == End::Power) {
        losePower(synced);
    }
    return isEnding;
}

} // namespace

std::vector<crashpoint::End> crashpoint::ends()
{
    return {End::Half, End::After, End::Power};
}

int crashpoint::nextCall(int call)
{
    return call + 1;
}

bool crashpoint::isJob(int & /*exitCode*/)
{
    return false; // a job runs in a fork
}

void crashpoint::begin()
{
    ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    ::raise(SIGSTOP);
}

crashpoint::Result crashpoint::run(const QByteArray &job, int call, End end)
{
    int ends[2];
    if (::pipe(ends) != 0) {
        qFatal("no pipe");
    }
    const pid_t process = ::fork();
    if (process == 0) {
        const QByteArray output = runJob(job); // fits into the pipe
        ::_exit(::write(ends[1], output.constData(), std::size_t(output.size())) == output.size()
                    ? EXIT_SUCCESS
                    : EXIT_FAILURE);
    }
    ::close(ends[1]);
    const bool isEnded = trace(process, call, end);
    QFile output;
    output.open(ends[0], QIODevice::ReadOnly, QFile::AutoCloseHandle);
    return {output.readAll(), isEnded};
}
