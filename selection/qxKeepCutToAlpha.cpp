// Export: keep and cut marks to a soft alpha, the finishing step of a
// cut-out. A whole rectangle goes through the tile tree (at full or half
// size); a small edited rectangle with a border is re-solved locally. With
// colours asked for, the foreground colours follow, and an edit is merged
// with the alpha that stood there by the job's mode.
#include <opencv2/core.hpp>

#include <algorithm>

#include "frame/export_frame.h"
#include "frame/status.h"
#include "selection/keep_cut_region.h"
#include "selection/solve_local.h"

namespace qx {

namespace {

constexpr long long kLargestLocalArea = 937024;  // below this an edit is solved locally
constexpr int kThinnestTiled = 3;     // thinner rectangles hold no 3 x 3 window
// The half-size level of a rectangle under 5 pixels thick is under 3 pixels
// thick itself; such a rectangle is solved at full size, which costs little
// at that thickness.
constexpr int kThinnestHalfSize = 5;

// Sizes, steps and the rectangle must lie inside what the host's buffers
// hold; anything else is refused before a pixel is touched.
bool jobIsSound(const QxJob* job) {
    if (!job || !job->imagePixels || !job->maskPixels || !job->outPixels || !job->auxPixels) return false;
    const long long width = job->width, height = job->height;
    if (width < 1 || height < 1) return false;
    if (job->imageStep < 4 * width || job->outStep < 4 * width || job->maskStep < width || job->auxStep < width)
        return false;
    if (job->roiX < 0 || job->roiY < 0 || job->roiWidth < 1 || job->roiHeight < 1) return false;
    return job->roiX + static_cast<long long>(job->roiWidth) <= width &&
           job->roiY + static_cast<long long>(job->roiHeight) <= height;
}

// A local edit only removes (mode 0: the lower alpha wins) or only adds
// (mode 1: the higher wins) where the alpha before was not fixed.
void mergeWithBefore(const QxJob& job, const cv::Mat& before) {
    if (job.keepCutMode != 0 && job.keepCutMode != 1) return;
    const bool keepLower = job.keepCutMode == 0;
#pragma omp parallel for schedule(static)
    for (int y = 0; y < job.roiHeight; ++y) {
        unsigned char* m = pixelAt(job.maskPixels, job.maskStep, job.roiX, job.roiY + y);
        const unsigned char* old = before.ptr<unsigned char>(y);
        for (int x = 0; x < job.roiWidth; ++x) {
            if (old[x] & 1) continue;
            m[x] = keepLower ? std::min(m[x], old[x]) : std::max(m[x], old[x]);
        }
    }
}

int keepCutToAlpha(QxJob& job, int fullSize) {
    const long long area = static_cast<long long>(job.roiWidth) * job.roiHeight;
    // The tile roads solve 3 x 3 windows: a rectangle under three pixels thick
    // has no pixel a window can solve, so it is refused as unsolvable marks
    // (the catch puts the mark bits back) rather than returned unsolved.
    const bool local = job.roiBorder != 0 && area < kLargestLocalArea;
    if (!local && std::min(job.roiWidth, job.roiHeight) < kThinnestTiled) throw static_cast<int>(kMarksUnsolvable);
    cv::Mat before;
    if (job.roiBorder != 0) {
        cv::Mat(job.roiHeight, job.roiWidth, CV_8UC1, pixelAt(job.maskPixels, job.maskStep, job.roiX, job.roiY),
                job.maskStep)
            .copyTo(before);
    }
    if (local)
        solveLocal(&job);  // its result is not looked at: the export reports 1
    else if (fullSize == 1 || std::min(job.roiWidth, job.roiHeight) < kThinnestHalfSize)
        fullSizeTilePath(job);
    else
        halfSizeTilePath(job);

    if (job.recoverColors) qxRecoverForegroundCell(&job, job.roiBorder != 0 ? 1 : 0);
    if (job.roiBorder != 0) mergeWithBefore(job, before);
    return 1;
}

}  // namespace

}  // namespace qx

QX_EXPORT int qxKeepCutToAlpha(QxJob* job, int fullSize) {
    if (!qx::jobIsSound(job)) return qx::kBadJob;
    return qx::runExport(qx::kKeepCutColumn, [&] {
        try {
            return qx::keepCutToAlpha(*job, fullSize);
        } catch (...) {
            qx::restoreMarkBits(*job);  // whatever failed, the mark bits are the host's again
            throw;
        }
    });
}
