// Sums and means over rectangles.
#include <cstdint>

#include "primitives/primitives.h"
#include "primitives/roi_checks.h"

namespace qx {

namespace {

// Exact sum of a byte row; 32 bits hold rows of up to 16 million pixels.
std::uint32_t byteRowSum(const Ipp8u* s, int n) {
    std::uint32_t sum = 0;
    for (int i = 0; i < n; ++i) sum += s[i];
    return sum;
}

}  // namespace

IppStatus ippiSum_8u_C1R(const Ipp8u* pSrc, int step, int w, int h, Ipp64f* pSum) {
    if (!pSum) return ippStsNullPtrErr;
    if (IppStatus st = roi::check1(pSrc, step, 1, w, h)) return st;
    std::uint64_t total = 0;
    for (int y = 0; y < h; ++y) total += byteRowSum(roi::row(pSrc, step, y), w);
    *pSum = static_cast<double>(total);
    return ippStsNoErr;
}

IppStatus ippiMean_8u_C1R(const Ipp8u* pSrc, int step, int w, int h, Ipp64f* pMean) {
    if (!pMean) return ippStsNullPtrErr;
    double sum = 0;
    if (IppStatus st = ippiSum_8u_C1R(pSrc, step, w, h, &sum)) return st;
    *pMean = sum / (static_cast<double>(w) * h);
    return ippStsNoErr;
}

IppStatus ippiMean_8u_C3R(const Ipp8u* pSrc, int step, int w, int h, Ipp64f mean[3]) {
    if (!mean) return ippStsNullPtrErr;
    if (IppStatus st = roi::check1(pSrc, step, 3, w, h)) return st;
    std::uint64_t total[3] = {0, 0, 0};
    for (int y = 0; y < h; ++y) {
        const Ipp8u* s = roi::row(pSrc, step, y);
        std::uint32_t r0 = 0, r1 = 0, r2 = 0;
        for (int x = 0; x < w; ++x) {
            r0 += s[3 * x];
            r1 += s[3 * x + 1];
            r2 += s[3 * x + 2];
        }
        total[0] += r0;
        total[1] += r1;
        total[2] += r2;
    }
    const double count = static_cast<double>(w) * h;
    for (int c = 0; c < 3; ++c) mean[c] = static_cast<double>(total[c]) / count;
    return ippStsNoErr;
}

}  // namespace qx
