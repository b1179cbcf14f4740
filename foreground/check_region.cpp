// The argument check of the two foreground exports, made before any buffer.
#include "foreground/foreground_driver.h"

namespace qx {

RegionCheck checkRegion(const QxJob* job, bool readsAux) {
    if (!job) return RegionCheck::refused;
    const QxJob& j = *job;
    if (j.roiWidth < 0 || j.roiHeight < 0 || j.roiX < 0 || j.roiY < 0) return RegionCheck::refused;
    // The region lies inside the image (64-bit sums: no wrap-around).
    if (static_cast<long long>(j.roiX) + j.roiWidth > j.width ||
        static_cast<long long>(j.roiY) + j.roiHeight > j.height)
        return RegionCheck::refused;
    if (j.roiWidth == 0 || j.roiHeight == 0) return RegionCheck::empty;
    // The reduction reads the whole image around the region: every plane must
    // be there with rows of the image's width.
    const long long fourByteRow = 4LL * j.width;
    if (!j.imagePixels || j.imageStep < fourByteRow) return RegionCheck::refused;
    if (!j.maskPixels || j.maskStep < j.width) return RegionCheck::refused;
    if (!j.outPixels || j.outStep < fourByteRow) return RegionCheck::refused;
    if (readsAux && (!j.auxPixels || j.auxStep < j.width)) return RegionCheck::refused;
    return RegionCheck::workable;
}

}  // namespace qx
