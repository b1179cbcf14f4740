// Video colour space conversion of 8-bit pixels in 16-bit fixed point.
// Forward: interleaved R, G, B to three planes Y, Cb, Cr (the low byte of each
// shifted sum is stored; the coefficients keep every sum in 0..255 anyway).
// Inverse: three planes back to interleaved R, G, B, clipped to 0..255.
#include "primitives/primitives.h"
#include "primitives/roi_checks.h"

namespace qx {

namespace {

// Rectangles from this many pixels on are split over threads by rows.
constexpr long long kParallelPixels = 4097;

QX_ROW_KERNEL
void rgbToYCbCrRow(const Ipp8u* s, Ipp8u* y, Ipp8u* cb, Ipp8u* cr, int w) {
    for (int x = 0; x < w; ++x) {
        const int r = s[3 * x], g = s[3 * x + 1], b = s[3 * x + 2];
        y[x] = static_cast<Ipp8u>((16843 * r + 33030 * g + 6423 * b + 0x108000) >> 16);
        cb[x] = static_cast<Ipp8u>((-9699 * r - 19071 * g + 28770 * b + 0x808000) >> 16);
        cr[x] = static_cast<Ipp8u>((28770 * r - 24117 * g - 4653 * b + 0x808000) >> 16);
    }
}

inline int clip255(int v) { return v < 0 ? 0 : (v > 255 ? 255 : v); }

QX_ROW_KERNEL
void yCbCrToRgbRow(const Ipp8u* yp, const Ipp8u* cbp, const Ipp8u* crp, Ipp8u* d, int w) {
    for (int x = 0; x < w; ++x) {
        const int yy = 76282 * yp[x];
        const int u = cbp[x] - 128, v = crp[x] - 128;
        // Arithmetic right shifts: negative sums floor, then clip to 0.
        d[3 * x] = static_cast<Ipp8u>(clip255((yy + 104593 * v - 1187744) >> 16));
        d[3 * x + 1] = static_cast<Ipp8u>(clip255((yy - 25689 * u - 53279 * v - 1187744) >> 16));
        d[3 * x + 2] = static_cast<Ipp8u>(clip255((yy + 132184 * u - 1187744) >> 16));
    }
}

}  // namespace

IppStatus ippiRGBToYCbCr_8u_C3P3R(const Ipp8u* pSrc, int srcStep, Ipp8u* const pDst[3], int dstStep, int w, int h) {
    if (!pDst) return ippStsNullPtrErr;
    const IppStatus st = roi::check3(pSrc, srcStep, 3, pDst[0], dstStep, 1, pDst[1], dstStep, 1, w, h);
    if (st != ippStsNoErr) return st;
    if (!pDst[2]) return ippStsNullPtrErr;
#pragma omp parallel for schedule(static) if (static_cast<long long>(w) * h >= kParallelPixels)
    for (int y = 0; y < h; ++y) {
        rgbToYCbCrRow(roi::row(pSrc, srcStep, y), roi::row(pDst[0], dstStep, y), roi::row(pDst[1], dstStep, y),
                      roi::row(pDst[2], dstStep, y), w);
    }
    return ippStsNoErr;
}

IppStatus ippiYCbCrToRGB_8u_P3C3R(const Ipp8u* const pSrc[3], int srcStep, Ipp8u* pDst, int dstStep, int w, int h) {
    if (!pSrc) return ippStsNullPtrErr;
    const IppStatus st = roi::check3(pSrc[0], srcStep, 1, pSrc[1], srcStep, 1, pDst, dstStep, 3, w, h);
    if (st != ippStsNoErr) return st;
    if (!pSrc[2]) return ippStsNullPtrErr;
#pragma omp parallel for schedule(static) if (static_cast<long long>(w) * h >= kParallelPixels)
    for (int y = 0; y < h; ++y) {
        yCbCrToRgbRow(roi::row(pSrc[0], srcStep, y), roi::row(pSrc[1], srcStep, y), roi::row(pSrc[2], srcStep, y),
                      roi::row(pDst, dstStep, y), w);
    }
    return ippStsNoErr;
}

}  // namespace qx
