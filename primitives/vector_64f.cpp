// Operations on vectors of doubles.
#include <cfloat>

#include "primitives/primitives.h"

namespace qx {

namespace {

IppStatus checkVector(const void* p, int len) {
    if (!p) return ippStsNullPtrErr;
    return len < 1 ? ippStsSizeErr : ippStsNoErr;
}

}  // namespace

IppStatus ippsDotProd_64f(const Ipp64f* pSrc1, const Ipp64f* pSrc2, int len, Ipp64f* pDp) {
    if (!pSrc2 || !pDp) return ippStsNullPtrErr;
    if (IppStatus st = checkVector(pSrc1, len)) return st;
    double sum = 0;
    for (int i = 0; i < len; ++i) sum += pSrc1[i] * pSrc2[i];
    *pDp = sum;
    return ippStsNoErr;
}

IppStatus ippsMean_64f(const Ipp64f* pSrc, int len, Ipp64f* pMean) {
    if (!pMean) return ippStsNullPtrErr;
    if (IppStatus st = checkVector(pSrc, len)) return st;
    double sum = 0;
    for (int i = 0; i < len; ++i) sum += pSrc[i];
    *pMean = sum / len;
    return ippStsNoErr;
}

IppStatus ippsAddC_64f_I(Ipp64f value, Ipp64f* pSrcDst, int len) {
    if (IppStatus st = checkVector(pSrcDst, len)) return st;
    for (int i = 0; i < len; ++i) pSrcDst[i] += value;
    return ippStsNoErr;
}

IppStatus ippsSubC_64f_I(Ipp64f value, Ipp64f* pSrcDst, int len) {
    if (IppStatus st = checkVector(pSrcDst, len)) return st;
    for (int i = 0; i < len; ++i) pSrcDst[i] -= value;
    return ippStsNoErr;
}

IppStatus ippsMulC_64f_I(Ipp64f value, Ipp64f* pSrcDst, int len) {
    if (IppStatus st = checkVector(pSrcDst, len)) return st;
    for (int i = 0; i < len; ++i) pSrcDst[i] *= value;
    return ippStsNoErr;
}

// Values beyond the float range (infinities included) become +-FLT_MAX; a
// NaN stays a NaN.
IppStatus ippsConvert_64f32f(const Ipp64f* pSrc, Ipp32f* pDst, int len) {
    if (!pDst) return ippStsNullPtrErr;
    if (IppStatus st = checkVector(pSrc, len)) return st;
    const double hi = FLT_MAX;
    for (int i = 0; i < len; ++i) {
        const double v = pSrc[i];
        pDst[i] = static_cast<float>(v > hi ? hi : (v < -hi ? -hi : v));
    }
    return ippStsNoErr;
}

}  // namespace qx
