// Runs one benchmark configuration in a forked child, so that each row's peak
// memory is its own, and passes the child's result back through a pipe.
#pragma once

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

// Returns whether the child delivered a result; status and usage (if given)
// describe how it ended.
template <class Result, class Work>
bool runInChild(Work work, Result& result, int& status, rusage* usage = nullptr) {
    int channel[2];
    if (pipe(channel) != 0) return false;
    const pid_t child = fork();
    if (child == 0) {
        close(channel[0]);
        const Result r = work();
        const ssize_t written = write(channel[1], &r, sizeof r);
        _exit(written == ssize_t(sizeof r) ? 0 : 1);
    }
    close(channel[1]);
    const bool received = read(channel[0], &result, sizeof result) == ssize_t(sizeof result);
    close(channel[0]);
    status = 0;
    wait4(child, &status, 0, usage);
    return received;
}
