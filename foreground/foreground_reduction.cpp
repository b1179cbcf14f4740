// Reduction of the worked region for the foreground solve.
#include "foreground/foreground_driver.h"

namespace qx {

ReducedRegion::ReducedRegion(int w, int h)
    : width(w),
      height(h),
      image(w * 4, h),
      alpha(w, h),
      planes{GIMG<unsigned char>(w, h), GIMG<unsigned char>(w, h), GIMG<unsigned char>(w, h)},
      result(w * 4, h) {}

void reduceRegion(const QxJob& job, float scale, ReducedRegion& small) {
    const int w = small.width, h = small.height;
    const double factor = scale;
    // The whole image is the source, the region its rectangle, so that the
    // filter taps may read pixels just outside the region.
    ippiResize_8u_AC4R(job.imagePixels, job.width, job.height, job.imageStep, job.roiX, job.roiY, job.roiWidth,
                       job.roiHeight, small.image.pixels, small.image.step, w, h, factor, factor, IPPI_INTER_CUBIC);
    ippiResize_8u_C1R(job.maskPixels, job.width, job.height, job.maskStep, job.roiX, job.roiY, job.roiWidth,
                      job.roiHeight, small.alpha.pixels, small.alpha.step, w, h, factor, factor, IPPI_INTER_CUBIC);
    for (int c = 0; c < 3; ++c)
        ippiCopy_8u_C4C1R(small.image.pixels + c, small.image.step, small.planes[c].pixels, small.planes[c].step, w,
                          h);
    // Pixels that no tile writes (skipped tiles, the ring of the reduced
    // image) keep the reduced source colour.
    ippiCopy_8u_C1R(small.image.pixels, small.image.step, small.result.pixels, small.result.step, w * 4, h);
}

}  // namespace qx
