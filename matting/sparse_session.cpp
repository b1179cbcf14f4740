// The phases of a sparse direct solve: a Cholesky factor in double
// precision of a symmetric matrix handed in as its upper triangle in
// one-based compressed rows with float values.
//
// The upper rows of a symmetric matrix are, index for index, its lower
// columns: a small system takes them so, by shifting the indices to zero and
// widening the values; a supernodal one has them scattered into upper
// columns, which saves the solver a transposition at every factorisation.
#include "matting/sparse_solver.h"

#include <sys/mman.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <vector>

#include "frame/progress.h"
#include "frame/thread_team.h"

namespace qx {

namespace {

constexpr int kSparseBadInput = -1;      // parameters or matrix refused
constexpr int kSparseNotDefinite = -3;   // still not positive definite after perturbing
constexpr int kSparseFailed = -4;        // any other failure inside the solver

// Pivots below this fraction of the largest diagonal entry count as zero:
// the factorisation is then repeated on a perturbed diagonal.
constexpr double kPivotFloor = 1e-8;
// Perturbation steps tried after the first one, each 100 times larger.
constexpr int kPerturbRetries = 2;
// A residual this small against the right side is left unrefined.
constexpr double kSettledResidual = 1e-14;
// Systems of fewer variables are factorised without supernodes.
constexpr int kSimplicialBelow = 4096;

// Fill-reducing ordering when the session doesn't name one. On the 5x5
// stencils of matting systems (25k to 300k unknowns) minimum degree gives
// the same fill as the nested-dissection orderings, and their slower
// analysis is never won back in the factorisation.
int defaultOrdering(int) { return CHOLMOD_AMD; }

// The BLAS takes a work buffer of about 128 MB at its first call in the
// process and keeps it; until a supernodal factorisation has succeeded, the
// memory check counts it in.
constexpr double kBlasBufferBytes = 132.0 * (1 << 20);
std::atomic<bool> blasBufferHeld{false};
// Factors below this size are not checked: the check reads /proc, and the
// small simplicial tiles of keep/cut to alpha come by the thousand. Their
// allocations fail cleanly; only the BLAS's buffer does not.
constexpr double kUncheckedBytes = 8.0 * (1 << 20);

void quietErrors(int, const char*, int, const char*) {}

// Bytes the numerical factorisation and a solve will allocate, from the
// symbolic analysis: the factor's values (and row indices of a simplicial
// one), the largest update matrix, work vectors.
double factorBytes(const SparseSession& s) {
    const cholmod_factor* f = s.factor;
    const double n = static_cast<double>(f->n);
    if (f->is_super)
        return 8.0 * (static_cast<double>(f->xsize) + static_cast<double>(f->maxcsize)) + 96.0 * n;
    return 12.0 * 1.2 * s.common.lnz + 96.0 * n;
}

// Whether the memory the factorisation needs is there, so that a system
// too large for the memory is refused before the solver allocates for it
// (the BLAS would otherwise wait for memory that never comes).
bool factorFits(const SparseSession& s) {
    double need = factorBytes(s);
    const bool blas = s.factor->is_super && !blasBufferHeld.load();
    if (blas) need += kBlasBufferBytes;
    if (need < kUncheckedBytes && !blas) return true;
    const double budget = memoryBudgetK() * 1300.0;
    return budget <= 0.0 || need <= budget;  // an unknown budget checks nothing
}

int statusResult(const cholmod_common& common) {
    if (common.status == CHOLMOD_OUT_OF_MEMORY) return kSparseOutOfMemory;
    if (common.status == CHOLMOD_NOT_POSDEF) return kSparseNotDefinite;
    return kSparseFailed;
}

// Largest absolute diagonal entry; the largest entry of all if the diagonal
// is zero, and 1 for a zero matrix, so that a perturbation is never 0.
double diagonalScale(const cholmod_sparse* a) {
    const int* p = static_cast<const int*>(a->p);
    const int* i = static_cast<const int*>(a->i);
    const double* x = static_cast<const double*>(a->x);
    double diagonal = 0.0, any = 0.0;
    for (size_t j = 0; j < a->ncol; ++j) {
        for (int e = p[j]; e < p[j + 1]; ++e) {
            double v = std::fabs(x[e]);
            any = std::max(any, v);
            if (static_cast<size_t>(i[e]) == j) diagonal = std::max(diagonal, v);
        }
    }
    if (diagonal > 0.0) return diagonal;
    return any > 0.0 ? any : 1.0;
}

// Smallest pivot (square of a diagonal entry of L) of an LL' factor.
double smallestPivot(const cholmod_factor* f) {
    const double* x = static_cast<const double*>(f->x);
    double least = HUGE_VAL;
    if (f->is_super) {
        const int* super = static_cast<const int*>(f->super);
        const int* pi = static_cast<const int*>(f->pi);
        const int* px = static_cast<const int*>(f->px);
        for (size_t s = 0; s < f->nsuper; ++s) {
            int columns = super[s + 1] - super[s];
            int rows = pi[s + 1] - pi[s];
            const double* block = x + px[s];
            for (int k = 0; k < columns; ++k) {
                double d = block[static_cast<size_t>(k) * rows + k];
                least = std::min(least, d * d);
            }
        }
    } else {
        const int* p = static_cast<const int*>(f->p);
        for (size_t j = 0; j < f->n; ++j) {
            double d = x[p[j]];
            least = std::min(least, f->is_ll ? d * d : d);
        }
    }
    return least;
}

// A zero or tiny pivot means a singular or nearly singular matrix: the
// factor is of no use for a solve, and the diagonal needs a perturbation.
bool factorUsable(const SparseSession& s, double floor) {
    if (s.common.status == CHOLMOD_NOT_POSDEF || s.factor->minor < s.factor->n) return false;
    return smallestPivot(s.factor) >= floor;
}

double residualNorm(const cholmod_dense* r) {
    const double* x = static_cast<const double*>(r->x);
    double sum = 0.0;
    for (size_t i = 0; i < r->nrow; ++i) sum += x[i] * x[i];
    return std::sqrt(sum);
}

// r = b - A x with the symmetric matrix.
bool residual(SparseSession& s, const cholmod_dense* b, cholmod_dense* x, cholmod_dense* r) {
    double minusOne[2] = {-1.0, 0.0}, one[2] = {1.0, 0.0};
    std::copy_n(static_cast<const double*>(b->x), b->nrow, static_cast<double*>(r->x));
    return cholmod_sdmult(s.matrix, 0, minusOne, one, x, r, &s.common) != 0;
}

// The supernodal factor's values, allocated before the factorisation so
// that they can be backed by huge pages. The factorisation first clears the
// fresh factor (50 to 200 MB for a 640x480 matte), and faulting it in 4 kB
// pages at a time was most of the matte's kernel time, a sixth of its CPU;
// in 2 MB pages the matte takes about an eighth less CPU. Only a hint: where
// the system has no huge page to give, the memory behaves as before, and the
// numbers are the same either way.
void valuesOnHugePages(SparseSession& s) {
    cholmod_factor* f = s.factor;
    if (!f->is_super || f->xtype != CHOLMOD_PATTERN) return;
    if (!cholmod_change_factor(CHOLMOD_REAL, 1, 1, 1, 1, f, &s.common) || !f->x) return;
    // The whole pages inside the values.
    const uintptr_t page = 4096;
    char* begin = static_cast<char*>(f->x);
    char* end = begin + f->xsize * sizeof(double);
    begin += (page - reinterpret_cast<uintptr_t>(begin) % page) % page;
    end -= reinterpret_cast<uintptr_t>(end) % page;
    if (end > begin) madvise(begin, static_cast<size_t>(end - begin), MADV_HUGEPAGE);
}

}  // namespace

SparseSession::~SparseSession() { sparseRelease(*this); }

int sparseAnalyse(SparseSession& s, int order, const float* values, const int* rowStart, const int* columns) {
    sparseRelease(s);
    if (order < 1 || !values || !rowStart || !columns || rowStart[0] != 1 || rowStart[order] < 1)
        return kSparseBadInput;
    cholmod_start(&s.common);
    s.started = true;
    s.order = order;
    s.common.print = 0;
    s.common.error_handler = quietErrors;
    // A small system (the tiles of keep/cut to alpha have a few hundred
    // variables) factorises faster column by column: supernodes there are
    // mostly amalgamation padding, and their dense kernels wake the BLAS
    // threads for microseconds of work. The same factor up to rounding.
    s.common.supernodal = order < kSimplicialBelow ? CHOLMOD_SIMPLICIAL : CHOLMOD_SUPERNODAL;
    // Relaxed amalgamation twice the solver's default (4, 16, 48): larger
    // supernodes keep the dense kernels busier, but every padded zero is
    // factor memory that a solve must fault in and clear. At 16, 64, 192 the
    // factor of a 640x480 matte held 56% more entries than its nonzeros and
    // the kernel's page clearing took a fifth of the solve; here it holds a
    // quarter fewer, and the matte costs 7% less CPU in all.
    s.common.nrelax[0] = 8;
    s.common.nrelax[1] = 32;
    s.common.nrelax[2] = 96;
    s.common.final_asis = 1;
    s.common.postorder = 1;
    s.common.nmethods = 1;
    s.common.method[0].ordering = s.givenOrder ? CHOLMOD_GIVEN : s.ordering >= 0 ? s.ordering : defaultOrdering(order);

    size_t count = static_cast<size_t>(rowStart[order]) - 1;
    // Upper rows only: a column left of the diagonal would be dropped by the
    // solver without notice, so it is refused here.
    bool sorted = true;
    for (int row = 0; row < order; ++row) {
        int begin = rowStart[row] - 1, end = rowStart[row + 1] - 1;
        if (begin < 0 || end < begin || static_cast<size_t>(end) > count) return kSparseBadInput;
        for (int e = begin; e < end; ++e) {
            int column = columns[e] - 1;
            if (column < row || column >= order) return kSparseBadInput;
            if (e > begin && column <= columns[e - 1] - 1) sorted = false;
        }
    }
    const bool super = s.common.supernodal == CHOLMOD_SUPERNODAL;
    // The supernodal factorisation wants the permuted lower triangle: from
    // the upper triangle by columns it makes it in one permuted transposition,
    // from the lower one it takes two. So for it the matrix is stored as the
    // upper triangle by columns (the caller's rows scattered into columns,
    // row numbers rising within each); the column by column factorisation
    // wants the opposite, and takes the caller's rows as they are, as lower
    // columns. Either way the solver factorises the same numbers.
    s.matrix = cholmod_allocate_sparse(order, order, count, super || sorted, 1, super ? 1 : -1, CHOLMOD_REAL,
                                       &s.common);
    if (!s.matrix) return statusResult(s.common);
    int* p = static_cast<int*>(s.matrix->p);
    int* i = static_cast<int*>(s.matrix->i);
    double* x = static_cast<double*>(s.matrix->x);
    if (super) {
        std::fill(p, p + order + 1, 0);
        for (size_t e = 0; e < count; ++e) ++p[columns[e]];  // column c counted at p[c + 1]
        for (int c = 0; c < order; ++c) p[c + 1] += p[c];
        std::vector<int> next(p, p + order);
        for (int row = 0; row < order; ++row)
            for (int e = rowStart[row] - 1; e < rowStart[row + 1] - 1; ++e) {
                const int slot = next[columns[e] - 1]++;
                i[slot] = row;
                x[slot] = values[e];
            }
    } else {
        for (int row = 0; row < order; ++row) p[row] = rowStart[row] - 1;
        p[order] = static_cast<int>(count);
        for (size_t e = 0; e < count; ++e) {
            i[e] = columns[e] - 1;
            x[e] = values[e];
        }
    }
    s.matrix->sorted = super || sorted;

    s.factor = cholmod_analyze_p(s.matrix, const_cast<int*>(s.givenOrder), nullptr, 0, &s.common);
    if (!s.factor && s.common.status == CHOLMOD_NOT_INSTALLED && s.common.method[0].ordering != CHOLMOD_AMD) {
        // The partitioning ordering is optional in the solver's build.
        s.common.status = CHOLMOD_OK;
        s.common.method[0].ordering = CHOLMOD_AMD;
        s.factor = cholmod_analyze(s.matrix, &s.common);
    }
    if (!s.factor) return statusResult(s.common);
    return kSparseOk;
}

int sparseFactorise(SparseSession& s) {
    s.factorised = false;
    if (!s.factor || !s.matrix) return kSparseBadInput;
    const double floor = kPivotFloor * diagonalScale(s.matrix);
    // A + shift I, the shift growing a hundredfold per retry; the refinement
    // in sparseSolve then works against the unperturbed A. A caller whose
    // matrices are singular by construction starts with the shift and saves
    // the factorisation that would fail.
    double shift = s.perturbFromStart ? floor : 0.0;
    if (!factorFits(s)) return kSparseOutOfMemory;
    valuesOnHugePages(s);
    const BlasOnCaller blas;
    for (int attempt = 0;; ++attempt) {
        double beta[2] = {shift, 0.0};
        s.common.status = CHOLMOD_OK;
        // The solver's own parallel loops (copies into the supernodes, 4
        // threads fixed in its build) run on the calling thread: with the
        // single-threaded BLAS there is nothing for a team to share but
        // copies, and a team waiting between supernodes burnt 4 to 10 times
        // the CPU of the whole factorisation on a loaded machine.
        runWithinThreads(1, [&] { cholmod_factorize_p(s.matrix, beta, nullptr, 0, s.factor, &s.common); });
        if (s.common.status < CHOLMOD_OK) return statusResult(s.common);
        // After a shift, a singular direction's pivot comes out at about the
        // shift itself, so the floor is then half the shift.
        if (factorUsable(s, shift > 0.0 ? 0.5 * shift : floor)) break;
        if (attempt > kPerturbRetries) return kSparseNotDefinite;
        shift = shift > 0.0 ? shift * 100.0 : floor;
    }
    s.factorised = true;
    if (s.factor->is_super) blasBufferHeld.store(true);
    return kSparseOk;
}

int sparseSolve(SparseSession& s, const float* rightSide, float* solution) {
    if (!s.factorised || !rightSide || !solution) return kSparseBadInput;
    cholmod_common& c = s.common;
    const BlasOnCaller blas;
    size_t n = static_cast<size_t>(s.order);
    cholmod_dense* b = cholmod_allocate_dense(n, 1, n, CHOLMOD_REAL, &c);
    cholmod_dense* r = cholmod_allocate_dense(n, 1, n, CHOLMOD_REAL, &c);
    cholmod_dense* x = nullptr;
    cholmod_dense* dx = nullptr;
    int result = kSparseOk;
    if (b && r) {
        double* bx = static_cast<double*>(b->x);
        for (size_t k = 0; k < n; ++k) bx[k] = rightSide[k];
        x = cholmod_solve(CHOLMOD_A, s.factor, b, &c);
    }
    if (!x || !residual(s, b, x, r)) {
        result = statusResult(c);
    } else {
        // Up to two refinement steps, each kept only if it lowers the
        // residual: with a perturbed factor or a nearly singular matrix a
        // step can make things worse. A residual already at the rounding
        // level of the double-precision factor (the rule for matting
        // systems, some 1e-16 of the right side) has nothing left to refine
        // for a single-precision solution: the same solution up to rounding,
        // at a third of the solve phase's time.
        double norm = residualNorm(r);
        const double settled = kSettledResidual * residualNorm(b);
        for (int step = 0; step < 2 && norm > settled; ++step) {
            cholmod_free_dense(&dx, &c);
            dx = cholmod_solve(CHOLMOD_A, s.factor, r, &c);
            if (!dx) { result = statusResult(c); break; }
            double* xv = static_cast<double*>(x->x);
            double* dv = static_cast<double*>(dx->x);
            for (size_t k = 0; k < n; ++k) {  // x += dx, dx keeps the old x
                double old = xv[k];
                xv[k] += dv[k];
                dv[k] = old;
            }
            if (!residual(s, b, x, r)) { result = statusResult(c); break; }
            double next = residualNorm(r);
            if (!(next < norm)) {
                std::copy_n(dv, n, xv);
                break;
            }
            norm = next;
        }
    }
    if (result == kSparseOk) {
        const double* xv = static_cast<const double*>(x->x);
        for (size_t k = 0; k < n; ++k) solution[k] = static_cast<float>(xv[k]);
    }
    cholmod_free_dense(&dx, &c);
    cholmod_free_dense(&x, &c);
    cholmod_free_dense(&r, &c);
    cholmod_free_dense(&b, &c);
    return result;
}

void sparseRelease(SparseSession& s) {
    if (s.started) {
        cholmod_free_factor(&s.factor, &s.common);
        cholmod_free_sparse(&s.matrix, &s.common);
        cholmod_finish(&s.common);
    }
    s.factor = nullptr;
    s.matrix = nullptr;
    s.started = false;
    s.factorised = false;
    s.order = 0;
}

}  // namespace qx
