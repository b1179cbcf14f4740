// One whole direct solve: analyse, factorise, solve, release, with a
// progress tick after each of the first three phases.
#include <algorithm>

#include "frame/progress.h"
#include "frame/status.h"
#include "matting/sparse_solver.h"

namespace qx {

int solveSparseDirect(int order, const float* values, const int* rowStart, const int* columns,
                      float* rightSide, float* scratch, const int* givenOrder) {
    SparseSession session;
    session.givenOrder = givenOrder;
    // Out of memory is the caller's to report (result 0); any other failure
    // is thrown with the phase's code. The session is released either way.
    auto check = [&session](int result, int thrown) {
        if (result == kSparseOk) return true;
        sparseRelease(session);
        if (result == kSparseOutOfMemory) return false;
        throw static_cast<int>(thrown);
    };
    if (!check(sparseAnalyse(session, order, values, rowStart, columns), kAnalysisFailed)) return 0;
    tickProgress();
    if (!check(sparseFactorise(session), kFactorisationFailed)) return 0;
    tickProgress();
    if (!check(sparseSolve(session, rightSide, scratch), kSolvePhaseFailed)) return 0;
    tickProgress();
    sparseRelease(session);
    std::copy_n(scratch, order, rightSide);
    return 1;
}

}  // namespace qx
