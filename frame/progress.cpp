// The shared progress bar. Jobs assign total, value and step between parallel
// regions; ticks may come from worker threads and are serialised by the one
// named critical section progressLock.
#include "frame/progress.h"

namespace qx {

int progressTotal = 0;
int progressValue = 0;
int progressStep = 0;
ProgressFn progressFn = nullptr;
void* progressArg = nullptr;

int tickProgress() {
    // Tested before the lock, so that a silent bar costs nothing in hot loops.
    if (!progressFn) return 1;
    if (!progressArg) return 1;
    int result;
#pragma omp critical(progressLock)
    {
        progressValue += progressStep;
        // Falling back to half keeps a long run from looking finished early.
        if (progressValue >= progressTotal) progressValue = progressTotal / 2;
        result = progressFn(progressValue, progressTotal, progressArg);
    }
    return result;
}

void startProgress(ProgressFn fn, void* cookie, int total, int value, int step) {
    progressFn = fn;
    progressArg = cookie;
    progressTotal = total;
    progressValue = value;
    progressStep = step;
}

}  // namespace qx
