// Float arithmetic on planes: element-wise, in single precision, without
// saturation.
#include <cmath>
#include <limits>

#include <xmmintrin.h>

#include "primitives/primitives.h"
#include "primitives/roi_checks.h"

namespace qx {

namespace {

template <class Row>
IppStatus inPlaceBinary(const Ipp32f* pSrc, int srcStep, Ipp32f* pSrcDst, int srcDstStep, int w, int h, Row rowFn) {
    if (IppStatus st = roi::check2(pSrc, srcStep, 4, pSrcDst, srcDstStep, 4, w, h)) return st;
    for (int y = 0; y < h; ++y) rowFn(roi::row(pSrc, srcStep, y), roi::row(pSrcDst, srcDstStep, y), w);
    return ippStsNoErr;
}

template <class Row>
IppStatus inPlaceUnary(Ipp32f* pSrcDst, int step, int w, int h, Row rowFn) {
    if (IppStatus st = roi::check1(pSrcDst, step, 4, w, h)) return st;
    for (int y = 0; y < h; ++y) rowFn(roi::row(pSrcDst, step, y), w);
    return ippStsNoErr;
}

// sd /= a. A divisor of -0 is taken as +0, so that a zero divisor gives an
// infinity with the dividend's sign (NaN for 0/0) whatever the zero's sign.
// Returns whether any divisor was zero.
bool divRowI(const Ipp32f* __restrict a, Ipp32f* __restrict sd, int n) {
    int zeros = 0;
    for (int i = 0; i < n; ++i) {
        const bool zero = a[i] == 0.0f;
        zeros |= zero;
        sd[i] = sd[i] / (zero ? 0.0f : a[i]);
    }
    return zeros != 0;
}

QX_ROW_KERNEL void addProductRow(const Ipp8u* __restrict a, const Ipp8u* __restrict b, Ipp32f* __restrict sd,
                                 int n) {
    // The product of two bytes is exact in float, so this is srcDst + a*b
    // rounded once.
    for (int i = 0; i < n; ++i) sd[i] += static_cast<float>(int(a[i]) * int(b[i]));
}

}  // namespace

IppStatus ippiSet_32f_C1R(Ipp32f value, Ipp32f* pDst, int dstStep, int w, int h) {
    return inPlaceUnary(pDst, dstStep, w, h, [value](Ipp32f* d, int n) {
        for (int i = 0; i < n; ++i) d[i] = value;
    });
}

IppStatus ippiAdd_32f_C1IR(const Ipp32f* pSrc, int srcStep, Ipp32f* pSrcDst, int srcDstStep, int w, int h) {
    return inPlaceBinary(pSrc, srcStep, pSrcDst, srcDstStep, w, h,
                         [](const Ipp32f* __restrict a, Ipp32f* __restrict sd, int n) {
                             for (int i = 0; i < n; ++i) sd[i] += a[i];
                         });
}

IppStatus ippiMul_32f_C1IR(const Ipp32f* pSrc, int srcStep, Ipp32f* pSrcDst, int srcDstStep, int w, int h) {
    return inPlaceBinary(pSrc, srcStep, pSrcDst, srcDstStep, w, h,
                         [](const Ipp32f* __restrict a, Ipp32f* __restrict sd, int n) {
                             for (int i = 0; i < n; ++i) sd[i] *= a[i];
                         });
}

// The whole rectangle is divided before a zero divisor is reported.
IppStatus ippiDiv_32f_C1IR(const Ipp32f* pSrc, int srcStep, Ipp32f* pSrcDst, int srcDstStep, int w, int h) {
    if (IppStatus st = roi::check2(pSrc, srcStep, 4, pSrcDst, srcDstStep, 4, w, h)) return st;
    bool zeroDivisor = false;
    for (int y = 0; y < h; ++y)
        zeroDivisor |= divRowI(roi::row(pSrc, srcStep, y), roi::row(pSrcDst, srcDstStep, y), w);
    return zeroDivisor ? ippStsDivByZero : ippStsNoErr;
}

IppStatus ippiMulC_32f_C1IR(Ipp32f value, Ipp32f* pSrcDst, int step, int w, int h) {
    return inPlaceUnary(pSrcDst, step, w, h, [value](Ipp32f* d, int n) {
        for (int i = 0; i < n; ++i) d[i] *= value;
    });
}

IppStatus ippiThreshold_GT_32f_C1IR(Ipp32f* pSrcDst, int step, int w, int h, Ipp32f threshold) {
    return inPlaceUnary(pSrcDst, step, w, h, [threshold](Ipp32f* d, int n) {
        for (int i = 0; i < n; ++i) d[i] = d[i] > threshold ? threshold : d[i];
    });
}

IppStatus ippiThreshold_LT_32f_C1IR(Ipp32f* pSrcDst, int step, int w, int h, Ipp32f threshold) {
    return inPlaceUnary(pSrcDst, step, w, h, [threshold](Ipp32f* d, int n) {
        for (int i = 0; i < n; ++i) d[i] = d[i] < threshold ? threshold : d[i];
    });
}

IppStatus ippiAddProduct_8u32f_C1IR(const Ipp8u* pSrc1, int src1Step, const Ipp8u* pSrc2, int src2Step,
                                    Ipp32f* pSrcDst, int srcDstStep, int w, int h) {
    if (IppStatus st = roi::check3(pSrc1, src1Step, 1, pSrc2, src2Step, 1, pSrcDst, srcDstStep, 4, w, h)) return st;
    for (int y = 0; y < h; ++y)
        addProductRow(roi::row(pSrc1, src1Step, y), roi::row(pSrc2, src2Step, y), roi::row(pSrcDst, srcDstStep, y),
                      w);
    return ippStsNoErr;
}

}  // namespace qx
