// Export: foreground colours of one cell, faded into the output towards the
// cell's edges so that neighbouring cells meet without a seam.
#include <optional>

#include "foreground/foreground_driver.h"
#include "frame/export_frame.h"
#include "frame/progress.h"

namespace qx {

float cellScale(int roiBorder, int width, int height) {
    if (roiBorder == 0) return 0.18f;
    const long long area = static_cast<long long>(width) * height;  // of the whole image, not the cell
    if (area <= 200000) return 1.0f;
    if (area >= 4000000) return 0.2f;
    return 0.33f;
}

namespace {

int recoverForegroundCell(const QxJob* jobPointer) {
    // Refused arguments fail before anything is touched; an empty cell is a
    // success with nothing to do.
    switch (checkRegion(jobPointer, false)) {
        case RegionCheck::refused: return kForegroundCellColumn.other;
        case RegionCheck::empty: return 1;
        case RegionCheck::workable: break;
    }
    const QxJob& job = *jobPointer;
    startProgress(job.progressCallback, job.progressCookie, 20000, 0, 0);
    tickProgress();

    const float scale = cellScale(job.roiBorder, job.width, job.height);
    const int w = static_cast<int>(job.roiWidth * scale);
    const int h = static_cast<int>(job.roiHeight * scale);
    const TileGrid grid = tileGrid(w, h, memoryBudgetK(), kCellGridRule);
    const int ticksPerTile = 20000 / (grid.tilesX * grid.tilesY);  // whole ticks, truncated
    const int step = static_cast<int>(static_cast<float>(ticksPerTile) * 0.065f);
    progressStep = step > 0 ? step : 20;

    // A cell that reduces to nothing (a side under 1 / scale) has no tile to
    // solve; its written part, if any, gets the source colours blended in.
    std::optional<ReducedRegion> small;
    if (w > 0 && h > 0) {
        small.emplace(w, h);
        reduceRegion(job, scale, *small);
        int failure = 0;
        solveTiles(grid, *small, kCellLoopRule, failure);  // unguarded: failures reach the export's frame
    }

    GIMG<unsigned char> upImage(job.roiWidth * 4, job.roiHeight);
    enlargeWithDetail(job, small ? &*small : nullptr, scale, upImage);
    restoreDefinite(job, 252, upImage);
    blendWithOutput(job, cellTaperPlane(job.roiWidth, job.roiHeight), upImage);
    copyToOutput(job, upImage, job.roiBorder == 0 ? 1 : 3);
    return 1;
}

}  // namespace

}  // namespace qx

QX_EXPORT int qxRecoverForegroundCell(QxJob* job, int /*modeFlag: accepted, not read*/) {
    return qx::runExport(qx::kForegroundCellColumn, [&] { return qx::recoverForegroundCell(job); });
}
