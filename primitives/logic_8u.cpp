// Bitwise operations, comparison with a constant, fills and table look-up on
// 8-bit planes.
#include <cstring>

#include "primitives/primitives.h"
#include "primitives/roi_checks.h"

namespace qx {

namespace {

// 255 where (s[i] op v) holds, else 0. The comparison is chosen outside the
// loop so that each loop is a plain compare-and-mask.
QX_ROW_KERNEL void compareCRow(const Ipp8u* s, Ipp8u v, Ipp8u* d, int n, int op) {
    switch (op) {
        case ippCmpLess:
            for (int i = 0; i < n; ++i) d[i] = s[i] < v ? 255 : 0;
            break;
        case ippCmpLessEq:
            for (int i = 0; i < n; ++i) d[i] = s[i] <= v ? 255 : 0;
            break;
        case ippCmpEq:
            for (int i = 0; i < n; ++i) d[i] = s[i] == v ? 255 : 0;
            break;
        case ippCmpGreaterEq:
            for (int i = 0; i < n; ++i) d[i] = s[i] >= v ? 255 : 0;
            break;
        default:
            for (int i = 0; i < n; ++i) d[i] = s[i] > v ? 255 : 0;
            break;
    }
}

QX_ROW_KERNEL void lutRow(const Ipp8u* s, Ipp8u* d, int n, const Ipp8u* table, Ipp8u indexMask) {
    for (int i = 0; i < n; ++i) d[i] = table[s[i] & indexMask];
}

void andRowI(const Ipp8u* __restrict a, Ipp8u* __restrict sd, int n) {
    for (int i = 0; i < n; ++i) sd[i] &= a[i];
}

void orRowI(const Ipp8u* __restrict a, Ipp8u* __restrict sd, int n) {
    for (int i = 0; i < n; ++i) sd[i] |= a[i];
}

template <class Row>
IppStatus inPlaceLogic(const Ipp8u* pSrc, int srcStep, Ipp8u* pSrcDst, int srcDstStep, int w, int h, Row rowFn) {
    if (IppStatus st = roi::check2(pSrc, srcStep, 1, pSrcDst, srcDstStep, 1, w, h)) return st;
    for (int y = 0; y < h; ++y) rowFn(roi::row(pSrc, srcStep, y), roi::row(pSrcDst, srcDstStep, y), w);
    return ippStsNoErr;
}

}  // namespace

IppStatus ippiAnd_8u_C1IR(const Ipp8u* pSrc, int srcStep, Ipp8u* pSrcDst, int srcDstStep, int w, int h) {
    return inPlaceLogic(pSrc, srcStep, pSrcDst, srcDstStep, w, h, andRowI);
}

IppStatus ippiOr_8u_C1IR(const Ipp8u* pSrc, int srcStep, Ipp8u* pSrcDst, int srcDstStep, int w, int h) {
    return inPlaceLogic(pSrc, srcStep, pSrcDst, srcDstStep, w, h, orRowI);
}

IppStatus ippiAndC_8u_C1IR(Ipp8u value, Ipp8u* pSrcDst, int step, int w, int h) {
    if (IppStatus st = roi::check1(pSrcDst, step, 1, w, h)) return st;
    for (int y = 0; y < h; ++y) {
        Ipp8u* p = roi::row(pSrcDst, step, y);
        for (int x = 0; x < w; ++x) p[x] &= value;
    }
    return ippStsNoErr;
}

IppStatus ippiCompareC_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u value, Ipp8u* pDst, int dstStep, int w, int h,
                              int op) {
    if (IppStatus st = roi::check2(pSrc, srcStep, 1, pDst, dstStep, 1, w, h)) return st;
    for (int y = 0; y < h; ++y) compareCRow(roi::row(pSrc, srcStep, y), value, roi::row(pDst, dstStep, y), w, op);
    return ippStsNoErr;
}

IppStatus ippiSet_8u_C1R(Ipp8u value, Ipp8u* pDst, int dstStep, int w, int h) {
    if (IppStatus st = roi::check1(pDst, dstStep, 1, w, h)) return st;
    for (int y = 0; y < h; ++y) std::memset(roi::row(pDst, dstStep, y), value, static_cast<std::size_t>(w));
    return ippStsNoErr;
}

IppStatus ippiLUTPalette_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h,
                                const Ipp8u* pTable, int nBitSize) {
    if (!pTable) return ippStsNullPtrErr;
    if (IppStatus st = roi::check2(pSrc, srcStep, 1, pDst, dstStep, 1, w, h)) return st;
    if (nBitSize < 1 || nBitSize > 8) return ippStsOutOfRangeErr;
    const Ipp8u indexMask = static_cast<Ipp8u>((1 << nBitSize) - 1);
    for (int y = 0; y < h; ++y)
        lutRow(roi::row(pSrc, srcStep, y), roi::row(pDst, dstStep, y), w, pTable, indexMask);
    return ippStsNoErr;
}

}  // namespace qx
