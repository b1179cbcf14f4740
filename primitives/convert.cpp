// Conversions between byte and float planes, plain and with a value range.
#include "primitives/primitives.h"
#include "primitives/roi_checks.h"

namespace qx {

namespace {

// Rounding to nearest with ties to even is rint under the default rounding
// mode; on SSE4.1 and later it becomes a vector round instruction.

QX_ROW_KERNEL void byteToFloatRow(const Ipp8u* __restrict s, Ipp32f* __restrict d, int n) {
    for (int i = 0; i < n; ++i) d[i] = static_cast<float>(s[i]);
}

// Clamped to 0..255 first; a NaN fails the first compare and gives 0.
QX_ROW_KERNEL void floatToByteNearestRow(const Ipp32f* __restrict s, Ipp8u* __restrict d, int n) {
    for (int i = 0; i < n; ++i) {
        float v = s[i] > 0.0f ? s[i] : 0.0f;
        v = v < 255.0f ? v : 255.0f;
        d[i] = static_cast<Ipp8u>(static_cast<int>(__builtin_rintf(v)));
    }
}

QX_ROW_KERNEL void floatToByteTruncRow(const Ipp32f* __restrict s, Ipp8u* __restrict d, int n) {
    for (int i = 0; i < n; ++i) {
        float v = s[i] > 0.0f ? s[i] : 0.0f;
        v = v < 255.0f ? v : 255.0f;
        d[i] = static_cast<Ipp8u>(static_cast<int>(v));
    }
}

// The 256 results of v * (vMax - vMin) / 255 + vMin, each evaluated in double
// and rounded once to float.
void scaleTable(Ipp32f vMin, Ipp32f vMax, Ipp32f table[256]) {
    const double lo = vMin, range = static_cast<double>(vMax) - lo;
    for (int v = 0; v < 256; ++v) table[v] = static_cast<float>(v * range / 255.0 + lo);
}

// 255 at or above vMax, 0 at or below vMin (and for a NaN), else
// (v - vMin) * 255 / (vMax - vMin) rounded to nearest with ties to even.
QX_ROW_KERNEL void floatToByteScaledRow(const Ipp32f* __restrict s, Ipp8u* __restrict d, int n, Ipp32f vMin,
                                        Ipp32f vMax) {
    const double lo = vMin, range = static_cast<double>(vMax) - lo;
    for (int i = 0; i < n; ++i) {
        const float v = s[i];
        double t = (static_cast<double>(v) - lo) * 255.0 / range;
        t = t > 0.0 ? t : 0.0;
        t = t < 255.0 ? t : 255.0;
        const int r = static_cast<int>(__builtin_rint(t));
        d[i] = v >= vMax ? 255 : (v > vMin ? static_cast<Ipp8u>(r) : 0);
    }
}

IppStatus scaleToFloat(const Ipp8u* pSrc, int srcStep, Ipp32f* pDst, int dstStep, int w, int h, Ipp32f vMin,
                       Ipp32f vMax, int channels) {
    if (IppStatus st = roi::check2(pSrc, srcStep, channels, pDst, dstStep, 4 * channels, w, h)) return st;
    if (!(vMax > vMin)) return ippStsThresholdErr;
    Ipp32f table[256];
    scaleTable(vMin, vMax, table);
    const int n = w * channels;
    for (int y = 0; y < h; ++y) {
        const Ipp8u* s = roi::row(pSrc, srcStep, y);
        Ipp32f* d = roi::row(pDst, dstStep, y);
        for (int i = 0; i < n; ++i) d[i] = table[s[i]];
    }
    return ippStsNoErr;
}

}  // namespace

IppStatus ippiConvert_8u32f_C1R(const Ipp8u* pSrc, int srcStep, Ipp32f* pDst, int dstStep, int w, int h) {
    if (IppStatus st = roi::check2(pSrc, srcStep, 1, pDst, dstStep, 4, w, h)) return st;
    for (int y = 0; y < h; ++y) byteToFloatRow(roi::row(pSrc, srcStep, y), roi::row(pDst, dstStep, y), w);
    return ippStsNoErr;
}

// roundMode 0 truncates; any other mode rounds to nearest with ties to even.
IppStatus ippiConvert_32f8u_C1R(const Ipp32f* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h,
                                int roundMode) {
    if (IppStatus st = roi::check2(pSrc, srcStep, 4, pDst, dstStep, 1, w, h)) return st;
    for (int y = 0; y < h; ++y) {
        const Ipp32f* s = roi::row(pSrc, srcStep, y);
        Ipp8u* d = roi::row(pDst, dstStep, y);
        if (roundMode == ippRndZero)
            floatToByteTruncRow(s, d, w);
        else
            floatToByteNearestRow(s, d, w);
    }
    return ippStsNoErr;
}

IppStatus ippiScale_8u32f_C1R(const Ipp8u* pSrc, int srcStep, Ipp32f* pDst, int dstStep, int w, int h, Ipp32f vMin,
                              Ipp32f vMax) {
    return scaleToFloat(pSrc, srcStep, pDst, dstStep, w, h, vMin, vMax, 1);
}

IppStatus ippiScale_8u32f_C3R(const Ipp8u* pSrc, int srcStep, Ipp32f* pDst, int dstStep, int w, int h, Ipp32f vMin,
                              Ipp32f vMax) {
    return scaleToFloat(pSrc, srcStep, pDst, dstStep, w, h, vMin, vMax, 3);
}

IppStatus ippiScale_32f8u_C1R(const Ipp32f* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h, Ipp32f vMin,
                              Ipp32f vMax) {
    if (IppStatus st = roi::check2(pSrc, srcStep, 4, pDst, dstStep, 1, w, h)) return st;
    if (!(vMax > vMin)) return ippStsThresholdErr;
    for (int y = 0; y < h; ++y)
        floatToByteScaledRow(roi::row(pSrc, srcStep, y), roi::row(pDst, dstStep, y), w, vMin, vMax);
    return ippStsNoErr;
}

}  // namespace qx
