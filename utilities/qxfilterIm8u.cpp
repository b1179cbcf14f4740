// Export: smoothing of a mask, a median cross and then a 5 by 5 Gaussian,
// leaving a band of 3 (mode 0) or 4 (mode 1) pixels at the edges as it was.
// Each filter reads only inside the image: the median's inset keeps its reads
// in the host's pixels, and the Gaussian's rectangle is inset so that its
// reads fall exactly on what the median wrote.
#include "frame/export_frame.h"
#include "frame/image_buffer.h"
#include "qxmatte.h"

namespace qx {
namespace {

void inset(IMG<unsigned char, 1>& image, int by) {
    image.shiftView(by, by);
    image.width -= by;
    image.height -= by;
}

// The median cross into the work image, then the Gaussian from it back into
// the host's mask, each over its inset rectangle.
void smooth(GIMG<unsigned char>& image, GIMG<unsigned char>& work, int firstInset, int secondInset, int medianMask) {
    inset(image, firstInset);
    inset(work, firstInset);
    work.status = ippiFilterMedianCross_8u_C1R(image.pixels, image.step, work.pixels, work.step, work.width,
                                               work.height, medianMask);
    image.resetView();
    work.resetView();
    inset(image, secondInset);
    inset(work, secondInset);
    image.status = ippiFilterGauss_8u_C1R(work.pixels, work.step, image.pixels, image.step, image.width,
                                          image.height, ippMskSize5x5);
}

}  // namespace
}  // namespace qx

using namespace qx;

QX_EXPORT int qxfilterIm8u(unsigned char* pixels, int step, int width, int height, int mode) {
    if (!pixels || width < 1 || height < 1 || step < width) return -1;
    if (mode != 0 && mode != 1) return 1;
    const int firstInset = mode == 0 ? 1 : 2;
    const int secondInset = mode == 0 ? 3 : 4;
    const int medianMask = mode == 0 ? ippMskSize3x3 : ippMskSize5x5;
    // Too small for the Gaussian's rectangle: the result would be the input.
    if (width <= 2 * secondInset || height <= 2 * secondInset) return 1;

    // The work image is made before the mask is written: when it can't be
    // had the call returns -1 with the mask as it was.
    return runExport(kRefuseMinusOneColumn, [&] {
        GIMG<unsigned char> image(width, height, pixels, step);
        GIMG<unsigned char> work(width, height);
        smooth(image, work, firstInset, secondInset, medianMask);
        return 1;
    });
}
