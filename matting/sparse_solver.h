// The sparse direct solver: symmetric matrices given by their upper triangle
// in compressed sparse rows counting from 1 (values, rowStart[order + 1],
// columns ascending within a row), single-precision matrix and vectors, a
// double-precision Cholesky factor with a fill-reducing ordering (supernodal
// above a few thousand variables).
//
// A session runs the phases one by one (analyse, factorise, solve any number
// of right sides, release) so that a caller with several right sides
// factorises once. Each phase returns kSparseOk, kSparseOutOfMemory, or
// another negative value for any other failure; the session keeps the
// solver's memory until release (or destruction).
#pragma once

#include <suitesparse/cholmod.h>

namespace qx {

constexpr int kSparseOk = 0;
constexpr int kSparseOutOfMemory = -2;

struct SparseSession {
    cholmod_common common;
    cholmod_sparse* matrix = nullptr;   // the caller's upper rows, seen as lower columns
    cholmod_factor* factor = nullptr;
    int order = 0;
    bool started = false;               // cholmod_start has run
    bool factorised = false;            // factor holds usable numbers
    int ordering = -1;                  // CHOLMOD_AMD, _METIS, _NESDIS; negative: AMD
    const int* givenOrder = nullptr;    // an ordering of the caller's (order entries), used instead
    bool perturbFromStart = false;      // singular by construction: factorise perturbed at once

    SparseSession() = default;
    SparseSession(const SparseSession&) = delete;
    SparseSession& operator=(const SparseSession&) = delete;
    ~SparseSession();
};

// Copies the matrix into the session and computes the ordering and symbolic
// factor.
int sparseAnalyse(SparseSession& session, int order, const float* values, const int* rowStart,
                  const int* columns);
// Numerical factorisation. A matrix that is not positive definite (singular
// blocks, all pixels unknown) is factorised again with a diagonal
// perturbation of about 1e-8 relative to its largest diagonal entry (at once
// with perturbFromStart).
int sparseFactorise(SparseSession& session);
// Solves for one right side with up to two steps of iterative refinement.
// rightSide and solution may be the same array.
int sparseSolve(SparseSession& session, const float* rightSide, float* solution);
// Frees the solver's memory; the session may be analysed again afterwards.
void sparseRelease(SparseSession& session);

// One whole solve. The solution replaces rightSide; scratch holds order floats
// for the solver. Returns 1, or 0 if the solver ran out of memory (after
// releasing it). Other failures throw kAnalysisFailed, kFactorisationFailed or
// kSolvePhaseFailed, with the solver's memory released.
// givenOrder, when not null, is the fill-reducing ordering to use.
int solveSparseDirect(int order, const float* values, const int* rowStart, const int* columns,
                      float* rightSide, float* scratch, const int* givenOrder = nullptr);

// Jacobi-preconditioned conjugate gradient on the same storage in double
// precision. x is the start on entry and the solution on return; work holds
// 4 * order doubles. Returns the iterations performed, or -1 if the
// parameters were refused. Reaching iterationLimit is no failure. Ticks the
// progress bar on every 21st step.
int solveSparseCG(int order, const double* values, const int* rowStart, const int* columns,
                  const double* rightSide, double* x, int iterationLimit, double tolerance, double* work);

}  // namespace qx
