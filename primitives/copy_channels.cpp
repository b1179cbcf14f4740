// Copies that move bytes between planes and interleaved pixels. For the
// single-channel moves the caller offsets the pointer on the interleaved side
// to pick the channel.
#include "primitives/primitives.h"
#include "primitives/roi_checks.h"

namespace qx {

namespace {

// Copies byte 0 of each `srcStride`-byte source pixel to byte 0 of each
// `dstStride`-byte destination pixel; the strides are compile-time so the
// loops vectorise with shuffles.
template <int SrcStride, int DstStride>
IppStatus moveChannel(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h) {
    if (IppStatus st = roi::check2(pSrc, srcStep, SrcStride, pDst, dstStep, DstStride, w, h)) return st;
    for (int y = 0; y < h; ++y) {
        const Ipp8u* __restrict s = roi::row(pSrc, srcStep, y);
        Ipp8u* __restrict d = roi::row(pDst, dstStep, y);
        for (int x = 0; x < w; ++x) d[DstStride * x] = s[SrcStride * x];
    }
    return ippStsNoErr;
}

}  // namespace

IppStatus ippiCopy_8u_C1C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h) {
    return moveChannel<1, 3>(pSrc, srcStep, pDst, dstStep, w, h);
}

IppStatus ippiCopy_8u_C1C4R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h) {
    return moveChannel<1, 4>(pSrc, srcStep, pDst, dstStep, w, h);
}

IppStatus ippiCopy_8u_C4C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h) {
    return moveChannel<4, 1>(pSrc, srcStep, pDst, dstStep, w, h);
}

IppStatus ippiCopy_8u_AC4C3R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h) {
    if (IppStatus st = roi::check2(pSrc, srcStep, 4, pDst, dstStep, 3, w, h)) return st;
    for (int y = 0; y < h; ++y) {
        const Ipp8u* __restrict s = roi::row(pSrc, srcStep, y);
        Ipp8u* __restrict d = roi::row(pDst, dstStep, y);
        for (int x = 0; x < w; ++x) {
            d[3 * x] = s[4 * x];
            d[3 * x + 1] = s[4 * x + 1];
            d[3 * x + 2] = s[4 * x + 2];
        }
    }
    return ippStsNoErr;
}

IppStatus ippiCopy_8u_C4P4R(const Ipp8u* pSrc, int srcStep, Ipp8u* const pDst[4], int dstStep, int w, int h) {
    if (!pDst || !pDst[0] || !pDst[1] || !pDst[2] || !pDst[3]) return ippStsNullPtrErr;
    if (IppStatus st = roi::check2(pSrc, srcStep, 4, pDst[0], dstStep, 1, w, h)) return st;
    for (int y = 0; y < h; ++y) {
        const Ipp8u* __restrict s = roi::row(pSrc, srcStep, y);
        Ipp8u* __restrict d0 = roi::row(pDst[0], dstStep, y);
        Ipp8u* __restrict d1 = roi::row(pDst[1], dstStep, y);
        Ipp8u* __restrict d2 = roi::row(pDst[2], dstStep, y);
        Ipp8u* __restrict d3 = roi::row(pDst[3], dstStep, y);
        for (int x = 0; x < w; ++x) {
            d0[x] = s[4 * x];
            d1[x] = s[4 * x + 1];
            d2[x] = s[4 * x + 2];
            d3[x] = s[4 * x + 3];
        }
    }
    return ippStsNoErr;
}

IppStatus ippiCopy_8u_P3C3R(const Ipp8u* const pSrc[3], int srcStep, Ipp8u* pDst, int dstStep, int w, int h) {
    if (!pSrc || !pSrc[0] || !pSrc[1] || !pSrc[2]) return ippStsNullPtrErr;
    if (IppStatus st = roi::check2(pSrc[0], srcStep, 1, pDst, dstStep, 3, w, h)) return st;
    for (int y = 0; y < h; ++y) {
        const Ipp8u* __restrict s0 = roi::row(pSrc[0], srcStep, y);
        const Ipp8u* __restrict s1 = roi::row(pSrc[1], srcStep, y);
        const Ipp8u* __restrict s2 = roi::row(pSrc[2], srcStep, y);
        Ipp8u* __restrict d = roi::row(pDst, dstStep, y);
        for (int x = 0; x < w; ++x) {
            d[3 * x] = s0[x];
            d[3 * x + 1] = s1[x];
            d[3 * x + 2] = s2[x];
        }
    }
    return ippStsNoErr;
}

}  // namespace qx
