// Linear filters on float planes: true convolutions. The kernel is stored row
// by row from its top-left element and applied reversed in both directions;
// the anchor (ax, ay) is the kernel element that the output pixel's own
// source pixel meets, so
//   dst(x, y) = sum_{j,i} k[j][i] * src(x + ax - i, y + ay - j).
// With kernel -1, 1, 0 and anchor 1 that is src(x) - src(x + 1). The filters
// read around the rectangle as far as the kernel reaches; callers inset.
// Sums run in single precision, kernel rows top to bottom and elements left
// to right, each row loop over x so that it vectorises.
#include <vector>

#include "primitives/primitives.h"
#include "primitives/roi_checks.h"

namespace qx {

namespace {

constexpr long long kParallelWork = 1 << 18;

QX_ROW_KERNEL
void axpyRow(float* acc, const float* s, float k, int w) {
    for (int x = 0; x < w; ++x) acc[x] += k * s[x];
}

IppStatus checkFilter(const Ipp32f* src, int srcStep, const Ipp32f* dst, int dstStep, int w, int h,
                      const Ipp32f* kernel, int kw, int kh, int ax, int ay) {
    if (!src || !dst || !kernel) return ippStsNullPtrErr;
    if (roi::badSize(w, h) || kw < 1 || kh < 1) return ippStsSizeErr;
    if (roi::badStep(srcStep, w, 4) || roi::badStep(dstStep, w, 4)) return ippStsStepErr;
    if (ax < 0 || ay < 0 || ax >= kw || ay >= kh) return ippStsAnchorErr;
    return ippStsNoErr;
}

// General kw by kh convolution; the row and column filters are its 1-high and
// 1-wide cases.
void convolve(const Ipp32f* src, int srcStep, Ipp32f* dst, int dstStep, int w, int h, const Ipp32f* k, int kw,
              int kh, int ax, int ay) {
    const bool big = static_cast<long long>(w) * h * kw * kh >= kParallelWork;
#pragma omp parallel for schedule(static) if (big)
    for (int y = 0; y < h; ++y) {
        float* d = roi::row(dst, dstStep, y);
        for (int x = 0; x < w; ++x) d[x] = 0.0f;
        for (int j = 0; j < kh; ++j) {
            const Ipp32f* s = roi::row(src, srcStep, y + ay - j);
            for (int i = 0; i < kw; ++i) axpyRow(d, s + (ax - i), k[j * kw + i], w);
        }
    }
}

}  // namespace

IppStatus ippiFilter_32f_C1R(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep, int w, int h,
                             const Ipp32f* pKernel, int kernelW, int kernelH, int anchorX, int anchorY) {
    const IppStatus st = checkFilter(pSrc, srcStep, pDst, dstStep, w, h, pKernel, kernelW, kernelH, anchorX, anchorY);
    if (st != ippStsNoErr) return st;
    convolve(pSrc, srcStep, pDst, dstStep, w, h, pKernel, kernelW, kernelH, anchorX, anchorY);
    return ippStsNoErr;
}

IppStatus ippiFilterRow_32f_C1R(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep, int w, int h,
                                const Ipp32f* pKernel, int kernelSize, int xAnchor) {
    const IppStatus st = checkFilter(pSrc, srcStep, pDst, dstStep, w, h, pKernel, kernelSize, 1, xAnchor, 0);
    if (st != ippStsNoErr) return st;
    convolve(pSrc, srcStep, pDst, dstStep, w, h, pKernel, kernelSize, 1, xAnchor, 0);
    return ippStsNoErr;
}

IppStatus ippiFilterColumn_32f_C1R(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep, int w, int h,
                                   const Ipp32f* pKernel, int kernelSize, int yAnchor) {
    const IppStatus st = checkFilter(pSrc, srcStep, pDst, dstStep, w, h, pKernel, 1, kernelSize, 0, yAnchor);
    if (st != ippStsNoErr) return st;
    convolve(pSrc, srcStep, pDst, dstStep, w, h, pKernel, 1, kernelSize, 0, yAnchor);
    return ippStsNoErr;
}

}  // namespace qx
