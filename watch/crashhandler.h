#pragma once

#include <QString>

// What differs between the platforms: the crash handler, and the file that it writes. The process
// has one of each.

// Replaces the file in one step by one with these bytes that only this user can read, and keeps it
// open. False if that is not possible.
[[nodiscard]] bool openRecordFile(const QString &path, const void *bytes, int size);
// Does nothing while no file is open. Safe in a signal handler.
void writeRecordFile(const void *bytes, int size, int position);
void closeRecordFile();

// Calls the functions below when a thread crashes. What happens by default follows: a core dump, or
// the error reporting of Windows.
void installCrashHandler();
// Reserves the handler's stack, for a crash by an overflow. For the calling thread; the handler has
// stacks for two threads.
void guardStack();

// Where the library that holds `address` lies; begin and end are 0 if there is none.
struct AddressRange
{
    quintptr begin;
    quintptr end;
};
AddressRange libraryAt(const void *address);

// Called by the handler, on the thread that crashes: first the first one, then the second one for
// the library of the faulty instruction, then the third one for each address on the stack until it
// returns true, at a plugin. None of them allocates or locks.
void noteCrash(int code);
void noteCrashModule(const char *name);
bool noteCrashFrame(quintptr address);
