// Median over a plus-shaped neighbourhood of an 8-bit plane: the 5 pixels of
// the 3 by 3 plus (mask 33) or the 9 pixels of the 5 by 5 plus (mask 55).
// Reads 1 or 2 pixels around the rectangle. The medians are fixed exchange
// networks of min/max, branch-free, so each row loop vectorises.
#include <algorithm>
#include <cstddef>

#include "primitives/primitives.h"
#include "primitives/roi_checks.h"

namespace qx {

namespace {

constexpr long long kParallelPixels = 1 << 16;

inline __attribute__((always_inline)) void order(int& a, int& b) {
    const int lo = std::min(a, b), hi = std::max(a, b);
    a = lo;
    b = hi;
}

inline __attribute__((always_inline)) int median5(int p0, int p1, int p2, int p3, int p4) {
    order(p0, p1);
    order(p3, p4);
    order(p0, p3);
    order(p1, p4);
    order(p1, p2);
    order(p2, p3);
    order(p1, p2);
    return p2;
}

inline __attribute__((always_inline)) int median9(int p[9]) {
    order(p[1], p[2]); order(p[4], p[5]); order(p[7], p[8]);
    order(p[0], p[1]); order(p[3], p[4]); order(p[6], p[7]);
    order(p[1], p[2]); order(p[4], p[5]); order(p[7], p[8]);
    order(p[0], p[3]); order(p[5], p[8]); order(p[4], p[7]);
    order(p[3], p[6]); order(p[1], p[4]); order(p[2], p[5]);
    order(p[4], p[7]); order(p[4], p[2]); order(p[6], p[4]);
    order(p[4], p[2]);
    return p[4];
}

QX_ROW_KERNEL
void cross3Row(const Ipp8u* up, const Ipp8u* mid, const Ipp8u* down, Ipp8u* d, int w) {
    for (int x = 0; x < w; ++x) d[x] = static_cast<Ipp8u>(median5(up[x], mid[x - 1], mid[x], mid[x + 1], down[x]));
}

QX_ROW_KERNEL
void cross5Row(const Ipp8u* u2, const Ipp8u* u1, const Ipp8u* mid, const Ipp8u* d1, const Ipp8u* d2, Ipp8u* d,
               int w) {
    for (int x = 0; x < w; ++x) {
        int p[9] = {u2[x], u1[x], mid[x - 2], mid[x - 1], mid[x], mid[x + 1], mid[x + 2], d1[x], d2[x]};
        d[x] = static_cast<Ipp8u>(median9(p));
    }
}

}  // namespace

IppStatus ippiFilterMedianCross_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h,
                                       int mask) {
    const IppStatus st = roi::check2(pSrc, srcStep, 1, pDst, dstStep, 1, w, h);
    if (st != ippStsNoErr) return st;
    if (mask != ippMskSize3x3 && mask != ippMskSize5x5) return ippStsMaskSizeErr;
    const bool big = static_cast<long long>(w) * h >= kParallelPixels;
    // The two branches differ in their row kernel; the OpenMP outlining hides
    // that from clang-tidy.
    if (mask == ippMskSize3x3) {  // NOLINT(bugprone-branch-clone)
#pragma omp parallel for schedule(static) if (big)
        for (int y = 0; y < h; ++y) {
            const Ipp8u* s = roi::row(pSrc, srcStep, y);
            cross3Row(s - srcStep, s, s + srcStep, roi::row(pDst, dstStep, y), w);
        }
    } else {
#pragma omp parallel for schedule(static) if (big)
        for (int y = 0; y < h; ++y) {
            const Ipp8u* s = roi::row(pSrc, srcStep, y);
            const std::ptrdiff_t up = srcStep;  // two rows apart in 64 bits: the step may be near INT_MAX
            cross5Row(s - 2 * up, s - up, s, s + up, s + 2 * up, roi::row(pDst, dstStep, y), w);
        }
    }
    return ippStsNoErr;
}

}  // namespace qx
