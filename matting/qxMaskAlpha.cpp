// The matting export: marks in, soft alpha out, in the host's mask buffer.
// The working scale is a memory decision: full size when the system fits,
// else a solve at half or smaller size brought back by colour-guided
// doubling. Last, 0 and 255 survive only where the host's marks held them.
#include <cmath>
#include <exception>

#include "frame/export_frame.h"
#include "frame/progress.h"
#include "matting/joint_upsample.h"
#include "matting/solve_matte.h"
#include "qxmatte.h"

namespace qx {
namespace {

enum class Path { full, half, reduced };

// One solved pixel is reckoned at 1920 bytes, any pixel at 12; the fixed
// caps force a reduced solve on large jobs even with memory to spare.
Path choosePath(int width, int height, float unknownEstimate, double& factor) {
    double budget = memoryBudgetK() * 1000.0;
    if (10.0 > budget) budget = 500000000.0;  // the measurement failed
    const double pixels = double(width) * double(height);
    const float solved = unknownEstimate * 1920.0f;  // rounded in single precision
    const double need = double(solved) + pixels * 12.0;
    factor = std::sqrt(need / budget);
    if (factor <= 1.0 && pixels < 1500000.0 && unknownEstimate < 400000.0f) return Path::full;
    return factor <= 2.0 ? Path::half : Path::reduced;
}

// Sides of a scaled solve: at least one window, and on the reduced path at
// least kFewestReducedSide (but never above half the image), whatever the
// estimate made of the scale.
constexpr int kFewestScaledSide = 3;
constexpr int kFewestReducedSide = 16;

int reducedSide(double scale, int side) {
    const int half = side / 2;
    const double scaled = scale * side;  // the scale is positive, at most 0.5
    const int floor = half < kFewestReducedSide ? half : kFewestReducedSide;
    if (!(scaled >= floor)) return floor;
    return scaled > half ? half : static_cast<int>(scaled);
}

// The three plane reductions as one parallel loop; an exception cannot leave
// a parallel region, so it is carried out and thrown after it.
template <class Reduce>
void reducePlanes(Plane* const fullPlanes[3], Plane* const smallPlanes[3], Reduce reduce) {
    std::exception_ptr failure[3];
#pragma omp parallel for schedule(static)
    for (int i = 0; i < 3; ++i) {
        try {
            reduce(*fullPlanes[i], *smallPlanes[i], true);
        } catch (...) {
            failure[i] = std::current_exception();
        }
    }
    for (const std::exception_ptr& f : failure)
        if (f) std::rethrow_exception(f);
}

// What the job must hold before any buffer is made: sizes not negative, the
// planes and the mask present with steps that hold a row.
bool validJob(const QxMaskJob* job) {
    if (!job || job->width < 0 || job->height < 0) return false;
    if (job->width == 0 || job->height == 0) return true;
    if (!job->planes || !job->planes[0] || !job->planes[1] || !job->planes[2] || !job->marksPixels) return false;
    return job->planeStep >= job->width && job->marksStep >= job->width;
}

int maskAlpha(QxMaskJob* job, float unknownEstimate, int inHigh, int inLow, int outHigh, int outLow) {
    // Bad arguments return the export's failure value with nothing touched;
    // an empty image is a success with nothing to do. An estimate that is not
    // a finite count would make the working scale meaningless.
    if (!validJob(job) || !std::isfinite(unknownEstimate) || unknownEstimate < 0.0f) return kMaskAlphaColumn.other;
    if (job->width == 0 || job->height == 0) return 1;
    startProgress(job->progressCallback, job->progressCookie, 130, 0, 10);
    const int width = job->width, height = job->height;
    Plane hostMarks(width, height);
    Plane fullMask(width, height, job->marksPixels, job->marksStep);
    Plane plane0(width, height, job->planes[0], job->planeStep);
    Plane plane1(width, height, job->planes[1], job->planeStep);
    Plane plane2(width, height, job->planes[2], job->planeStep);
    Plane* const fullPlanes[3] = {&plane0, &plane1, &plane2};
    copyImage(fullMask, hostMarks);

    double factor = 0.0;
    Path path = choosePath(width, height, unknownEstimate, factor);
    // An image whose half is narrower than one window cannot be solved at
    // reduced size; it is solved as it is.
    if (width / 2 < kFewestScaledSide || height / 2 < kFewestScaledSide) path = Path::full;
    if (path == Path::full) {
        solveMatte(fullPlanes, fullMask, inHigh, inLow, outHigh, outLow);
    } else {
        int smallWidth = width / 2, smallHeight = height / 2;
        if (path == Path::reduced) {
            const double scale = 1.0 / factor;
            smallWidth = reducedSide(scale, width);
            smallHeight = reducedSide(scale, height);
        }
        Plane small0(smallWidth, smallHeight), small1(smallWidth, smallHeight), small2(smallWidth, smallHeight);
        Plane smallMask(smallWidth, smallHeight);
        Plane* const smallPlanes[3] = {&small0, &small1, &small2};
        if (path == Path::half) {
            reducePlanes(fullPlanes, smallPlanes, reduceHalf);
            reduceHalf(fullMask, smallMask, false);  // marks are decimated, never smoothed
        } else {
            reducePlanes(fullPlanes, smallPlanes, reduceToSize);
            reduceToSize(fullMask, smallMask, false);
        }
        tickProgress();
        solveMatte(smallPlanes, smallMask, inHigh, inLow, outHigh, outLow);
        if (path == Path::half) {
            Plane* small = &smallMask;
            Plane* full = &fullMask;
            jointUpsample(&small, &full, fullPlanes, 10.0f);
            repairUpsampleBorder(fullMask, 1, 3);
        } else {
            expandFromReduced(smallMask, fullMask, fullPlanes);
            repairUpsampleBorder(fullMask, 2, 9);
        }
    }

    // 0 and 255 stand only where the host marked exactly that value.
#pragma omp parallel for schedule(static)
    for (int y = 0; y < height; ++y) {
        unsigned char* r = fullMask.row(y);
        const unsigned char* o = hostMarks.row(y);
        for (int x = 0; x < width; ++x) {
            if (r[x] == 0 && o[x] != 0) r[x] = 1;
            else if (r[x] == 255 && o[x] != 255) r[x] = 254;
        }
    }
    return 1;
}

}  // namespace
}  // namespace qx

QX_EXPORT int qxMaskAlpha(QxMaskJob* job, int /*unused*/, float unknownEstimate, int inHigh, int inLow, int outHigh,
                          int outLow) {
    return qx::runExport(qx::kMaskAlphaColumn, [&] {
        return qx::maskAlpha(job, unknownEstimate, inHigh, inLow, outHigh, outLow);
    });
}
