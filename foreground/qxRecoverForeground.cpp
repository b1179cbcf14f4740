// Export: true foreground colours of a region, solved at a quarter of its size.
#include "foreground/foreground_driver.h"
#include "frame/export_frame.h"
#include "frame/progress.h"

namespace qx {

namespace {

int recoverForeground(const QxJob* jobPointer, bool blendEdges) {
    // Refused arguments fail before anything is touched; an empty region is a
    // success with nothing to do.
    switch (checkRegion(jobPointer, true)) {
        case RegionCheck::refused: return kForegroundColumn.other;
        case RegionCheck::empty: return 0;
        case RegionCheck::workable: break;
    }
    const QxJob& job = *jobPointer;
    const float scale = 0.25f;
    const int w = static_cast<int>(job.roiWidth * scale);
    const int h = static_cast<int>(job.roiHeight * scale);
    // A region under 4 pixels in a direction reduces to nothing; its 3-pixel
    // frame, which is never written, covers it whole.
    if (w < 1 || h < 1) return 0;
    ReducedRegion small(w, h);
    reduceRegion(job, scale, small);
    {
        // The second plane must be readable; it is reduced with the others and
        // nothing reads it afterwards.
        GIMG<unsigned char> aux(w, h);
        ippiResize_8u_C1R(job.auxPixels, job.width, job.height, job.auxStep, job.roiX, job.roiY, job.roiWidth,
                          job.roiHeight, aux.pixels, aux.step, w, h, scale, scale, IPPI_INTER_CUBIC);
    }

    const TileGrid grid = tileGrid(w, h, memoryBudgetK(), kForegroundGridRule);
    // Keeps the callback and the count that an earlier call left.
    const int step = truncToInt(10000.0 / ((w * h) / (grid.tileWidth * grid.tileHeight * 2.25)));
    progressTotal = 20000;
    progressStep = step < 0 ? 0 : step;

    int failure = 0;
    if (!solveTiles(grid, small, kForegroundLoopRule, failure)) return failure;

    GIMG<unsigned char> upImage(job.roiWidth * 4, job.roiHeight);
    enlargeWithDetail(job, &small, scale, upImage);
    restoreDefinite(job, 251, upImage);
    if (blendEdges) blendWithOutput(job, edgeRampPlane(job.roiWidth, job.roiHeight), upImage);
    copyToOutput(job, upImage, 3);
    return 0;
}

}  // namespace

}  // namespace qx

QX_EXPORT int qxRecoverForeground(QxJob* job, int blendEdges) {
    // The flag is a byte: any non-zero low byte sets it.
    const bool blend = static_cast<unsigned char>(blendEdges) != 0;
    return qx::runExport(qx::kForegroundColumn, [&] { return qx::recoverForeground(job, blend); });
}
