// Thread teams of a job. The job's thread count is the calling thread's
// OpenMP count (omp_get_max_threads): every team the library opens, and every
// team opened by the solver and the BLAS beneath it, stays within it.
//
// The library is linked against a single-threaded BLAS, so the BLAS adds no
// threads of its own. When a host has already loaded a threaded OpenBLAS, the
// solver's calls hold it to one thread while they run (BlasOnCaller), so that
// its pool never spins beside the OpenMP team.
#pragma once

#include <omp.h>

namespace qx {

// Runs work so that no parallel region opened inside it, including regions
// that ask for a fixed team size (the sparse solver's supernodal loops ask
// for 4), has more than `threads` threads.
template <class Work>
void runWithinThreads(int threads, Work&& work) {
    if (omp_in_parallel()) {
        work();  // nested: the inner regions run on one thread anyway
        return;
    }
    if (threads < 1) threads = 1;
#pragma omp teams num_teams(1) thread_limit(threads)
    work();
}

// While it lives, a threaded OpenBLAS that the process has loaded runs on the
// calling thread only; the counts are given back at the end. Does nothing
// with a single-threaded BLAS.
struct BlasOnCaller {
    int savedBlas = 0;    // the pthreads build's count, or 0
    int savedOpenMp = 0;  // the caller's OpenMP count (the OpenMP build's), or 0
    BlasOnCaller();
    ~BlasOnCaller();
    BlasOnCaller(const BlasOnCaller&) = delete;
    BlasOnCaller& operator=(const BlasOnCaller&) = delete;
};

// While it lives, the job runs on one thread if the process cannot afford the
// address space for more (a stack and a heap arena per thread under a
// `ulimit -v`): the OpenMP runtime ends the process when it cannot start a
// thread, so a short address space must never reach it.
struct AffordableThreads {
    int saved = 0;  // 0: the count was left alone
    AffordableThreads();
    ~AffordableThreads();
    AffordableThreads(const AffordableThreads&) = delete;
    AffordableThreads& operator=(const AffordableThreads&) = delete;
};

}  // namespace qx
