// The BLAS's own thread count and the job's thread count under a short
// address space.
#include "frame/thread_team.h"

#include <dlfcn.h>
#include <sys/resource.h>

#include <cstdint>

#include "frame/progress.h"

namespace qx {

namespace {

using GetFn = int (*)();
using SetFn = void (*)(int);

// OpenBLAS's own controls, when an OpenBLAS is in the process. Its
// openblas_get_parallel() is 0 for the single-threaded build, 1 for the
// pthreads build, whose pool runs beside the OpenMP team, and 2 for the
// OpenMP build, which splits its work over omp_get_max_threads() threads and
// waits for them spinning.
struct OpenBlasControls {
    GetFn parallel = nullptr, threads = nullptr;
    SetFn setThreads = nullptr;
    OpenBlasControls() {
        parallel = reinterpret_cast<GetFn>(dlsym(RTLD_DEFAULT, "openblas_get_parallel"));
        threads = reinterpret_cast<GetFn>(dlsym(RTLD_DEFAULT, "openblas_get_num_threads"));
        setThreads = reinterpret_cast<SetFn>(dlsym(RTLD_DEFAULT, "openblas_set_num_threads"));
    }
    int build() const { return parallel && threads && setThreads ? parallel() : 0; }
};

const OpenBlasControls& openBlas() {
    static const OpenBlasControls controls;
    return controls;
}

// Address space an extra thread takes: its stack and a heap arena.
uint64_t bytesPerThread() {
    uint64_t stack = uint64_t(8) << 20;
    struct rlimit rl;
    if (getrlimit(RLIMIT_STACK, &rl) == 0 && rl.rlim_cur != RLIM_INFINITY) stack = rl.rlim_cur;
    return stack + (uint64_t(64) << 20);
}

}  // namespace

BlasOnCaller::BlasOnCaller() {
    const OpenBlasControls& blas = openBlas();
    const int build = blas.build();
    if (build == 1 && blas.threads() > 1) {
        savedBlas = blas.threads();
        blas.setThreads(1);
    } else if (build == 2 && omp_get_max_threads() > 1) {
        // This build takes its count from the calling thread's OpenMP count
        // at every call.
        savedOpenMp = omp_get_max_threads();
        omp_set_num_threads(1);
    }
}

BlasOnCaller::~BlasOnCaller() {
    if (savedBlas > 0) openBlas().setThreads(savedBlas);
    if (savedOpenMp > 0) omp_set_num_threads(savedOpenMp);
}

AffordableThreads::AffordableThreads() {
    const int threads = omp_get_max_threads();
    struct rlimit rl;
    if (threads < 2 || getrlimit(RLIMIT_AS, &rl) != 0 || rl.rlim_cur == RLIM_INFINITY) return;
    // One thread's worth kept back for the work itself.
    if (freeAddressSpace() >= bytesPerThread() * static_cast<uint64_t>(threads)) return;
    saved = threads;
    omp_set_num_threads(1);
}

AffordableThreads::~AffordableThreads() {
    if (saved > 0) omp_set_num_threads(saved);
}

}  // namespace qx
