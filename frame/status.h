// Failure values that travel inside the library. A failure is thrown as a
// plain int (one of the codes below), as a QxBase::QXRC from the foreground
// solver, or as std::bad_alloc; only the exports that catch turn them into
// return values (export_frame.h).
#pragma once

namespace qx {

// Thrown plain integers.
enum ThrownCode : int {
    kSystemTooLarge = -1,      // matting system above its limits
    kBadJob = -3,              // a job's sizes, steps or rectangle outside its buffers (returned, not thrown)
    kMarksUnsolvable = -5,     // keep/cut marks don't allow a solve
    kAllocFailed = 102,        // buffer allocation failed, sizes within limits
    kGuardDisturbed = 103,     // a buffer's guard row was overwritten
    kAllocTooWide = 112,       // allocation failed, width above 5000
    kAllocTooHigh = 113,       // allocation failed, height above 5000
    kAnalysisFailed = 121,     // sparse direct solver, analysis phase
    kFactorisationFailed = 122,
    kSolvePhaseFailed = 123,
    kIterativeBase = 124,      // 124 + n for a negative result n of the iterative solver
    kSolverOutOfMemory = 125,  // sparse direct solver ran out of memory
    kSystemAllocFailed = 130,  // an array of the matting system
};

// Status of the foreground solver; some values are thrown (1, 6, 9, 11),
// 10 is returned.
struct QxBase {
    enum QXRC : int {
        QXRC_OK = 0,
        QXRC_FLOAT_IMAGE = 1,  // a plane's float image could not be made
        QXRC_FILTER = 6,       // the diagonal filter refused the tile
        QXRC_VECTOR = 9,       // a vector could not be made
        QXRC_PRODUCT = 10,     // a sparse product failed (returned, not thrown)
        QXRC_TRANSPOSE = 11,   // a sparse transpose failed
    };
};

}  // namespace qx
