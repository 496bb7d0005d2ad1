#pragma once

#include <QByteArray>

#include <vector>

// Runs jobs in processes of their own, and ends them at a system call that may change a file or a
// setting, as a kill or a loss of power there would. One job at a time.
namespace crashpoint {

enum class End {
    Half,  // half of the bytes are written; calls that write none do not count
    After, // right after the call
    Power  // after the call; each file holds what it held when it was last synced
};
// Windows has no Power, and tries some calls alone: a process takes 0.3 s under Wine.
std::vector<End> ends();
int nextCall(int call);

struct Result
{
    QByteArray output;
    bool isEnded; // before the job was done
};

// Defined by the test program.
QByteArray runJob(const QByteArray &job);
// True, with the process's exit code, in the process of a job. To be called first in main().
bool isJob(int &exitCode);
// The calls after this one count.
void begin();
// Calls runJob() in another process and ends that at the call of this number, from 1; not at all if
// it makes fewer calls, or for 0.
Result run(const QByteArray &job, int call = 0, End end = End::After);

} // namespace crashpoint
