// Times of the sparse direct solver's phases on matting-shaped grid systems
// (3x3-window Laplacian plus a diagonal on known pixels) for each available
// fill-reducing ordering (grid: nested dissection by the pixels'
// coordinates, gridNestedDissection), with the factor's size and the peak resident
// memory. Each case runs in a child process so that its peak is its own.
//
//   bench_solver [repeats]      (default 2; the best time of the repeats)
#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "matting/sparse_grid_order.h"
#include "matting/sparse_solver.h"
#include "solver/grid_system.h"

using namespace qx;

namespace {

long statusKb(const char* field) {
    FILE* f = std::fopen("/proc/self/status", "r");
    if (!f) return -1;
    char line[256];
    long kb = -1;
    size_t len = std::strlen(field);
    while (std::fgets(line, sizeof line, f))
        if (!std::strncmp(line, field, len)) kb = std::atol(line + len + 1);
    std::fclose(f);
    return kb;
}

double seconds(std::chrono::steady_clock::time_point since) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

struct Result {
    double analyse = 1e30, factorise = 1e30, solve = 1e30, factorMb = 0, error = 0;
    long peakKb = 0;
    int ordering = -1, status = 0;
};

Result runCase(int side, int ordering, int repeats) {
    GridSystem g = makeGridSystem(side, side, 13, 255.0f);
    std::vector<double> truth(g.order);
    for (int i = 0; i < g.order; ++i) truth[i] = 0.5 + 0.4 * std::sin(0.013 * i);
    std::vector<double> bd = symmetricTimes(g, truth);
    std::vector<float> b(bd.begin(), bd.end()), x(g.order);
    // Start the peak from here: the matrix and vectors are the caller's.
    if (FILE* f = std::fopen("/proc/self/clear_refs", "w")) {
        std::fputs("5", f);
        std::fclose(f);
    }
    // The ordering by the pixels' coordinates (CHOLMOD_GIVEN here).
    std::vector<int> xs(g.order), ys(g.order), given(g.order);
    for (int i = 0; i < g.order; ++i) xs[i] = i % side, ys[i] = i / side;
    long baseKb = statusKb("VmRSS:");
    Result r;
    for (int k = 0; k < repeats; ++k) {
        SparseSession s;
        s.ordering = ordering;
        auto t0 = std::chrono::steady_clock::now();
        if (ordering == CHOLMOD_GIVEN) {
            gridNestedDissection(g.order, xs.data(), ys.data(), 2, given.data());
            s.givenOrder = given.data();
        }
        r.status = sparseAnalyse(s, g.order, g.values.data(), g.rowStart.data(), g.columns.data());
        r.analyse = std::fmin(r.analyse, seconds(t0));
        if (r.status) return r;
        t0 = std::chrono::steady_clock::now();
        r.status = sparseFactorise(s);
        r.factorise = std::fmin(r.factorise, seconds(t0));
        if (r.status) return r;
        t0 = std::chrono::steady_clock::now();
        r.status = sparseSolve(s, b.data(), x.data());
        r.solve = std::fmin(r.solve, seconds(t0));
        r.ordering = s.common.method[0].ordering;
        r.factorMb = s.common.lnz * 8.0 / 1048576.0;
    }
    double e = 0.0, n = 0.0;
    for (int i = 0; i < g.order; ++i) e += (x[i] - truth[i]) * (x[i] - truth[i]), n += truth[i] * truth[i];
    r.error = std::sqrt(e / n);
    r.peakKb = statusKb("VmHWM:") - baseKb;
    return r;
}

const char* orderingName(int ordering) {
    switch (ordering) {
        case CHOLMOD_AMD: return "AMD";
        case CHOLMOD_GIVEN: return "grid";
        case CHOLMOD_METIS: return "METIS";
        case CHOLMOD_NESDIS: return "NESDIS";
        default: return ordering < 0 ? "default" : "?";
    }
}

}  // namespace

int main(int argc, char** argv) {
    int repeats = argc > 1 ? std::max(1, std::atoi(argv[1])) : 2;
    using ThreadsFn = int (*)();
    auto threads = reinterpret_cast<ThreadsFn>(dlsym(RTLD_DEFAULT, "openblas_get_num_threads"));
    std::printf("BLAS threads: %s %d\n", threads ? "openblas" : "unknown", threads ? threads() : 0);
    std::printf("%8s %8s %-8s %10s %10s %10s %10s %10s %10s\n", "unknowns", "side", "ordering", "analyse_s",
                "factor_s", "solve_s", "L_MB", "peak_MB", "rel_err");
    for (int side : {160, 317, 548}) {
        for (int ordering : {-1, CHOLMOD_AMD, CHOLMOD_METIS, CHOLMOD_NESDIS, CHOLMOD_GIVEN}) {
            int pipe[2];
            if (::pipe(pipe)) return 1;
            std::fflush(stdout);
            pid_t child = fork();
            if (child == 0) {
                close(pipe[0]);
                Result r = runCase(side, ordering, repeats);
                ssize_t written = write(pipe[1], &r, sizeof r);
                _exit(written == static_cast<ssize_t>(sizeof r) ? 0 : 1);
            }
            close(pipe[1]);
            Result r;
            bool ok = read(pipe[0], &r, sizeof r) == static_cast<ssize_t>(sizeof r);
            close(pipe[0]);
            waitpid(child, nullptr, 0);
            if (!ok || r.status) {
                std::printf("%8d %8d %-8s failed (%d)\n", side * side, side, orderingName(ordering), r.status);
                continue;
            }
            char name[32];
            std::snprintf(name, sizeof name, "%s%s", ordering < 0 ? "dflt=" : "", orderingName(r.ordering));
            std::printf("%8d %8d %-8s %10.3f %10.3f %10.3f %10.1f %10.1f %10.2e\n", side * side, side, name,
                        r.analyse, r.factorise, r.solve, r.factorMb, r.peakKb / 1024.0, r.error);
        }
    }
    return 0;
}
