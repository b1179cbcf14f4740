// Plain and masked copies of planes and four-byte pixels, and the float copy.
#include <cstdint>
#include <cstring>

#include "primitives/primitives.h"
#include "primitives/roi_checks.h"

namespace qx {

namespace {

inline std::uint32_t loadPixel(const Ipp8u* p) {
    std::uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}

inline void storePixel(Ipp8u* p, std::uint32_t v) { std::memcpy(p, &v, 4); }

// Rows copied with memmove: a source row that overlaps its destination row
// still arrives intact.
IppStatus copyRows(const void* pSrc, int srcStep, void* pDst, int dstStep, int rowBytes, int h) {
    if (pSrc == pDst && srcStep == dstStep) return ippStsNoErr;
    for (int y = 0; y < h; ++y)
        std::memmove(roi::row(static_cast<Ipp8u*>(pDst), dstStep, y),
                     roi::row(static_cast<const Ipp8u*>(pSrc), srcStep, y), static_cast<std::size_t>(rowBytes));
    return ippStsNoErr;
}

// Masked rows blend with all-ones/all-zeros masks instead of branching, so
// that both operands are always loaded and the loops vectorise.
void copyMaskedRow(const Ipp8u* __restrict s, Ipp8u* __restrict d, const Ipp8u* __restrict m, int n) {
    for (int i = 0; i < n; ++i) {
        const Ipp8u keep = static_cast<Ipp8u>(-(m[i] != 0));
        d[i] = static_cast<Ipp8u>((s[i] & keep) | (d[i] & ~keep));
    }
}

void copyMaskedPixelRow(const Ipp8u* __restrict s, Ipp8u* __restrict d, const Ipp8u* __restrict m, int n) {
    for (int i = 0; i < n; ++i) {
        const std::uint32_t keep = 0u - static_cast<std::uint32_t>(m[i] != 0);
        storePixel(d + 4 * i, (loadPixel(s + 4 * i) & keep) | (loadPixel(d + 4 * i) & ~keep));
    }
}

// Bytes 0..2 of each pixel from the source, byte 3 of the destination kept
// (byte 3 is the high byte of a little-endian word).
void copyColourBytesRow(const Ipp8u* __restrict s, Ipp8u* __restrict d, int n) {
    for (int i = 0; i < n; ++i)
        storePixel(d + 4 * i, (loadPixel(d + 4 * i) & 0xFF000000u) | (loadPixel(s + 4 * i) & 0x00FFFFFFu));
}

}  // namespace

IppStatus ippiCopy_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h) {
    if (IppStatus st = roi::check2(pSrc, srcStep, 1, pDst, dstStep, 1, w, h)) return st;
    return copyRows(pSrc, srcStep, pDst, dstStep, w, h);
}

IppStatus ippiCopy_32f_C1R(const Ipp32f* pSrc, int srcStep, Ipp32f* pDst, int dstStep, int w, int h) {
    if (IppStatus st = roi::check2(pSrc, srcStep, 4, pDst, dstStep, 4, w, h)) return st;
    return copyRows(pSrc, srcStep, pDst, dstStep, 4 * w, h);
}

IppStatus ippiCopy_8u_AC4R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h) {
    if (IppStatus st = roi::check2(pSrc, srcStep, 4, pDst, dstStep, 4, w, h)) return st;
    if (pSrc == pDst && srcStep == dstStep) return ippStsNoErr;
    for (int y = 0; y < h; ++y) copyColourBytesRow(roi::row(pSrc, srcStep, y), roi::row(pDst, dstStep, y), w);
    return ippStsNoErr;
}

IppStatus ippiCopy_8u_C1MR(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h,
                           const Ipp8u* pMask, int maskStep) {
    if (IppStatus st = roi::check3(pSrc, srcStep, 1, pDst, dstStep, 1, pMask, maskStep, 1, w, h)) return st;
    if (pSrc == pDst && srcStep == dstStep) return ippStsNoErr;
    for (int y = 0; y < h; ++y)
        copyMaskedRow(roi::row(pSrc, srcStep, y), roi::row(pDst, dstStep, y), roi::row(pMask, maskStep, y), w);
    return ippStsNoErr;
}

IppStatus ippiCopy_8u_C4MR(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h,
                           const Ipp8u* pMask, int maskStep) {
    if (IppStatus st = roi::check3(pSrc, srcStep, 4, pDst, dstStep, 4, pMask, maskStep, 1, w, h)) return st;
    if (pSrc == pDst && srcStep == dstStep) return ippStsNoErr;
    for (int y = 0; y < h; ++y)
        copyMaskedPixelRow(roi::row(pSrc, srcStep, y), roi::row(pDst, dstStep, y), roi::row(pMask, maskStep, y),
                           w);
    return ippStsNoErr;
}

}  // namespace qx
