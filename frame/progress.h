// Process-wide progress bar and memory budget.
#pragma once

#include <cstdint>

namespace qx {

using ProgressFn = int (*)(int value, int total, void* cookie);

extern int progressTotal;
extern int progressValue;
extern int progressStep;
extern ProgressFn progressFn;
extern void* progressArg;

// Adds progressStep under the named critical section progressLock, wraps to
// half the total at the end, and calls the host. Returns the callback's result,
// or 1 when reporting is silent (either pointer null; tested before the lock).
int tickProgress();

// Installs a job's callback and cookie and sets up the bar.
void startProgress(ProgressFn fn, void* cookie, int total, int value, int step);

// Work memory in units of 1300 bytes: the least of installed memory, free
// swap-backed memory and free address space, capped at 3500000; 0 if unknown.
int memoryBudgetK();

// Bytes of address space the process may still map: its `ulimit -v` (or,
// without one, a whole user address space) less what it maps now.
unsigned long long freeAddressSpace();

// Value in kB of a "Name:   123 kB" line of a /proc file; false if absent.
bool readProcKb(const char* file, const char* name, uint64_t* kb);

}  // namespace qx
