// Enlargement of the reduced foreground with the green channel's detail, and
// restoration of the pixels that the alpha declares definite.
#include "foreground/foreground_driver.h"

namespace qx {

namespace {

unsigned char* regionOf(unsigned char* pixels, int step, int x, int y, int bytesPerPixel) {
    return pixels + static_cast<std::ptrdiff_t>(y) * step + static_cast<std::ptrdiff_t>(x) * bytesPerPixel;
}

}  // namespace

void enlargeWithDetail(const QxJob& job, const ReducedRegion* small, float scale, GIMG<unsigned char>& upImage) {
    const int rw = job.roiWidth, rh = job.roiHeight;
    unsigned char* source = regionOf(job.imagePixels, job.imageStep, job.roiX, job.roiY, 4);
    if (!small) {
        // Nothing was reduced, so nothing is enlarged and there is no
        // low-pass copy: the source colours stand, without detail.
        ippiCopy_8u_C1R(source, job.imageStep, upImage.pixels, upImage.step, rw * 4, rh);
        return;
    }
    const int sw = small->width, sh = small->height;
    const double enlarge = 1.0f / scale;  // single precision, as the factor is formed

    // The enlargement writes the colour bytes of every pixel of the region,
    // also of the columns and rows past the last reduced pixel's place (their
    // taps repeat the edge). Byte 3, which it leaves, is given the source's
    // so that no byte of upImage is undefined; nothing reads it.
    ippiCopy_8u_C1R(source, job.imageStep, upImage.pixels, upImage.step, rw * 4, rh);
    ippiResize_8u_AC4R(small->result.pixels, sw, sh, small->result.step, 0, 0, sw, sh, upImage.pixels, upImage.step,
                       rw, rh, enlarge, enlarge, IPPI_INTER_CUBIC);

    // Low-pass copy of the green channel: reduced and enlarged again, over the
    // whole region as above.
    GIMG<unsigned char> green(rw, rh), smallGreen(sw, sh), lowPass(rw, rh);
    ippiCopy_8u_C4C1R(source + 1, job.imageStep, green.pixels, green.step, rw, rh);
    ippiResize_8u_C1R(green.pixels, rw, rh, green.step, 0, 0, rw, rh, smallGreen.pixels, smallGreen.step, sw, sh,
                      static_cast<double>(scale), static_cast<double>(scale), IPPI_INTER_CUBIC);
    ippiResize_8u_C1R(smallGreen.pixels, sw, sh, smallGreen.step, 0, 0, sw, sh, lowPass.pixels, lowPass.step, rw, rh,
                      enlarge, enlarge, IPPI_INTER_CUBIC);

    // The detail (channel minus low-pass, signed) is formed per pixel where
    // it is used rather than kept as a region-size plane.
    const unsigned char* alpha = regionOf(job.maskPixels, job.maskStep, job.roiX, job.roiY, 1);
#pragma omp parallel for schedule(static)
    for (int y = 0; y < rh; ++y) {
        const unsigned char* a = alpha + static_cast<std::ptrdiff_t>(y) * job.maskStep;
        const unsigned char* g = green.row(y);
        const unsigned char* l = lowPass.row(y);
        unsigned char* up = upImage.row(y);
        for (int x = 0; x < rw; ++x) {
            if (a[x] <= 10 || a[x] >= 250) continue;
            const int detail = static_cast<int>(g[x]) - static_cast<int>(l[x]);
            for (int c = 0; c < 3; ++c) {
                int v = static_cast<int>(up[4 * x + c] + detail * 0.618);
                up[4 * x + c] = static_cast<unsigned char>(v < 0 ? 0 : (v > 255 ? 255 : v));
            }
        }
    }
}

void restoreDefinite(const QxJob& job, int upperThreshold, GIMG<unsigned char>& upImage) {
    const int rw = job.roiWidth, rh = job.roiHeight;
    const unsigned char* alpha = regionOf(job.maskPixels, job.maskStep, job.roiX, job.roiY, 1);
    const unsigned char* source = regionOf(job.imagePixels, job.imageStep, job.roiX, job.roiY, 4);
    GIMG<unsigned char> mask(rw, rh);
    ippiCompareC_8u_C1R(alpha, job.maskStep, static_cast<Ipp8u>(upperThreshold), mask.pixels, mask.step, rw, rh,
                        ippCmpGreaterEq);
    ippiCopy_8u_C4MR(source, job.imageStep, upImage.pixels, upImage.step, rw, rh, mask.pixels, mask.step);
    ippiCompareC_8u_C1R(alpha, job.maskStep, 4, mask.pixels, mask.step, rw, rh, ippCmpLessEq);
    ippiCopy_8u_C4MR(source, job.imageStep, upImage.pixels, upImage.step, rw, rh, mask.pixels, mask.step);
}

}  // namespace qx
