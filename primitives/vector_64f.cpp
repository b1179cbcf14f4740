// Conversion of a vector of doubles to floats.
#include <cfloat>

#include "primitives/primitives.h"

namespace qx {

namespace {

IppStatus checkVector(const void* p, int len) {
    if (!p) return ippStsNullPtrErr;
    return len < 1 ? ippStsSizeErr : ippStsNoErr;
}

}  // namespace

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
