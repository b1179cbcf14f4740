// 8-bit arithmetic with a scale factor: the exact integer result r is scaled
// by 2^-s (s > 0 rounds to nearest with ties to even, s < 0 shifts left) and
// saturated to 0..255. Row loops work in 32-bit integers, which is exact for
// every operand range here (|r| <= 65025) and lets the compiler vectorise.
#include <algorithm>

#include "primitives/primitives.h"
#include "primitives/roi_checks.h"

namespace qx {

namespace {

// How a scale factor acts; resolved once per call so row loops stay branch-free.
struct Scale {
    enum Kind { None, Right, Left, Zero } kind;
    int shift;  // Right: s
    int half;   // Right: 2^(s-1) - 1
    int mul;    // Left: 2^min(-s, 9), enough to saturate any non-zero result
};

Scale scaleOf(int s) {
    if (s == 0) return {Scale::None, 0, 0, 1};
    // r <= 65025 < 2^16, so from s = 17 on every result is below one half.
    if (s > 16) return {Scale::Zero, 0, 0, 1};
    if (s > 0) return {Scale::Right, s, (1 << (s - 1)) - 1, 1};
    return {Scale::Left, 0, 0, 1 << std::min(-s, 9)};
}

inline __attribute__((always_inline)) Ipp8u saturate(int v) {
    return static_cast<Ipp8u>(v < 0 ? 0 : (v > 255 ? 255 : v));
}

// Writes d[i] = scaled r(i) for i < n. Negative r saturate to 0 whatever the
// rounding does with them.
template <class R>
inline __attribute__((always_inline)) void scaleRow(R r, Ipp8u* d, int n, Scale sc) {
    switch (sc.kind) {
        case Scale::None:
            for (int i = 0; i < n; ++i) d[i] = saturate(r(i));
            break;
        case Scale::Right: {
            const int sh = sc.shift, half = sc.half;
            for (int i = 0; i < n; ++i) {
                const int v = r(i);
                d[i] = saturate((v + half + ((v >> sh) & 1)) >> sh);
            }
            break;
        }
        case Scale::Left: {
            const int mul = sc.mul;
            for (int i = 0; i < n; ++i) d[i] = saturate(r(i) * mul);
            break;
        }
        case Scale::Zero:
            for (int i = 0; i < n; ++i) d[i] = 0;
            break;
    }
}

QX_ROW_KERNEL void addRowI(const Ipp8u* __restrict a, Ipp8u* __restrict sd, int n, Scale sc) {
    scaleRow([=](int i) { return int(sd[i]) + int(a[i]); }, sd, n, sc);
}

QX_ROW_KERNEL void subRowI(const Ipp8u* __restrict a, Ipp8u* __restrict sd, int n, Scale sc) {
    scaleRow([=](int i) { return int(sd[i]) - int(a[i]); }, sd, n, sc);
}

QX_ROW_KERNEL void mulRowI(const Ipp8u* __restrict a, Ipp8u* __restrict sd, int n, Scale sc) {
    scaleRow([=](int i) { return int(sd[i]) * int(a[i]); }, sd, n, sc);
}

// d = b - a; d may coincide with a or b (element-wise, so that is harmless).
QX_ROW_KERNEL void subRow(const Ipp8u* a, const Ipp8u* b, Ipp8u* d, int n, Scale sc) {
    scaleRow([=](int i) { return int(b[i]) - int(a[i]); }, d, n, sc);
}

QX_ROW_KERNEL void addCRowI(int v, Ipp8u* sd, int n, Scale sc) {
    scaleRow([=](int i) { return int(sd[i]) + v; }, sd, n, sc);
}

QX_ROW_KERNEL void subCRow(const Ipp8u* s, int v, Ipp8u* d, int n, Scale sc) {
    scaleRow([=](int i) { return int(s[i]) - v; }, d, n, sc);
}

QX_ROW_KERNEL void mulCRowI(int v, Ipp8u* sd, int n, Scale sc) {
    scaleRow([=](int i) { return int(sd[i]) * v; }, sd, n, sc);
}

QX_ROW_KERNEL void absDiffRow(const Ipp8u* a, const Ipp8u* b, Ipp8u* d, int n) {
    for (int i = 0; i < n; ++i) {
        const int x = a[i], y = b[i];
        d[i] = static_cast<Ipp8u>(x > y ? x - y : y - x);
    }
}

// Result of multiplying each byte value by v, scaled: the table form of mulC
// used for interleaved pixels with a value per channel.
void mulCTable(int v, int s, Ipp8u table[256]) {
    Ipp8u src[256];
    for (int i = 0; i < 256; ++i) src[i] = static_cast<Ipp8u>(i);
    std::copy(src, src + 256, table);
    mulCRowI(v, table, 256, scaleOf(s));
}

template <class Row>
IppStatus inPlaceBinary(const Ipp8u* pSrc, int srcStep, Ipp8u* pSrcDst, int srcDstStep, int w, int h, int s,
                        Row rowFn) {
    if (IppStatus st = roi::check2(pSrc, srcStep, 1, pSrcDst, srcDstStep, 1, w, h)) return st;
    const Scale sc = scaleOf(s);
    for (int y = 0; y < h; ++y) rowFn(roi::row(pSrc, srcStep, y), roi::row(pSrcDst, srcDstStep, y), w, sc);
    return ippStsNoErr;
}

template <class Row>
IppStatus inPlaceConst(int value, Ipp8u* pSrcDst, int step, int w, int h, int s, Row rowFn) {
    if (IppStatus st = roi::check1(pSrcDst, step, 1, w, h)) return st;
    const Scale sc = scaleOf(s);
    for (int y = 0; y < h; ++y) rowFn(value, roi::row(pSrcDst, step, y), w, sc);
    return ippStsNoErr;
}

// Per-channel multiply of interleaved pixels of `pixelBytes` bytes, of which
// the first three are scaled and any further byte is left alone.
IppStatus mulCInterleaved(const Ipp8u value[3], Ipp8u* pSrcDst, int step, int w, int h, int s, int pixelBytes) {
    if (!value) return ippStsNullPtrErr;
    if (IppStatus st = roi::check1(pSrcDst, step, pixelBytes, w, h)) return st;
    Ipp8u table[3][256];
    for (int c = 0; c < 3; ++c) mulCTable(value[c], s, table[c]);
    for (int y = 0; y < h; ++y) {
        Ipp8u* p = roi::row(pSrcDst, step, y);
        for (int x = 0; x < w; ++x, p += pixelBytes) {
            p[0] = table[0][p[0]];
            p[1] = table[1][p[1]];
            p[2] = table[2][p[2]];
        }
    }
    return ippStsNoErr;
}

}  // namespace

IppStatus ippiAdd_8u_C1IRSfs(const Ipp8u* pSrc, int srcStep, Ipp8u* pSrcDst, int srcDstStep, int w, int h, int s) {
    return inPlaceBinary(pSrc, srcStep, pSrcDst, srcDstStep, w, h, s, addRowI);
}

IppStatus ippiSub_8u_C1IRSfs(const Ipp8u* pSrc, int srcStep, Ipp8u* pSrcDst, int srcDstStep, int w, int h, int s) {
    return inPlaceBinary(pSrc, srcStep, pSrcDst, srcDstStep, w, h, s, subRowI);
}

IppStatus ippiMul_8u_C1IRSfs(const Ipp8u* pSrc, int srcStep, Ipp8u* pSrcDst, int srcDstStep, int w, int h, int s) {
    return inPlaceBinary(pSrc, srcStep, pSrcDst, srcDstStep, w, h, s, mulRowI);
}

IppStatus ippiSub_8u_C1RSfs(const Ipp8u* pSrc1, int src1Step, const Ipp8u* pSrc2, int src2Step, Ipp8u* pDst,
                            int dstStep, int w, int h, int s) {
    if (IppStatus st = roi::check3(pSrc1, src1Step, 1, pSrc2, src2Step, 1, pDst, dstStep, 1, w, h)) return st;
    const Scale sc = scaleOf(s);
    for (int y = 0; y < h; ++y)
        subRow(roi::row(pSrc1, src1Step, y), roi::row(pSrc2, src2Step, y), roi::row(pDst, dstStep, y), w, sc);
    return ippStsNoErr;
}

IppStatus ippiAddC_8u_C1IRSfs(Ipp8u value, Ipp8u* pSrcDst, int step, int w, int h, int s) {
    return inPlaceConst(value, pSrcDst, step, w, h, s, addCRowI);
}

IppStatus ippiSubC_8u_C1IRSfs(Ipp8u value, Ipp8u* pSrcDst, int step, int w, int h, int s) {
    if (IppStatus st = roi::check1(pSrcDst, step, 1, w, h)) return st;
    const Scale sc = scaleOf(s);
    for (int y = 0; y < h; ++y) {
        Ipp8u* p = roi::row(pSrcDst, step, y);
        subCRow(p, value, p, w, sc);
    }
    return ippStsNoErr;
}

IppStatus ippiSubC_8u_C1RSfs(const Ipp8u* pSrc, int srcStep, Ipp8u value, Ipp8u* pDst, int dstStep, int w, int h,
                             int s) {
    if (IppStatus st = roi::check2(pSrc, srcStep, 1, pDst, dstStep, 1, w, h)) return st;
    const Scale sc = scaleOf(s);
    for (int y = 0; y < h; ++y) subCRow(roi::row(pSrc, srcStep, y), value, roi::row(pDst, dstStep, y), w, sc);
    return ippStsNoErr;
}

IppStatus ippiMulC_8u_C1IRSfs(Ipp8u value, Ipp8u* pSrcDst, int step, int w, int h, int s) {
    return inPlaceConst(value, pSrcDst, step, w, h, s, mulCRowI);
}

IppStatus ippiMulC_8u_C3IRSfs(const Ipp8u value[3], Ipp8u* pSrcDst, int step, int w, int h, int s) {
    return mulCInterleaved(value, pSrcDst, step, w, h, s, 3);
}

IppStatus ippiMulC_8u_AC4IRSfs(const Ipp8u value[3], Ipp8u* pSrcDst, int step, int w, int h, int s) {
    return mulCInterleaved(value, pSrcDst, step, w, h, s, 4);
}

IppStatus ippiAbsDiff_8u_C1R(const Ipp8u* pSrc1, int src1Step, const Ipp8u* pSrc2, int src2Step, Ipp8u* pDst,
                             int dstStep, int w, int h) {
    if (IppStatus st = roi::check3(pSrc1, src1Step, 1, pSrc2, src2Step, 1, pDst, dstStep, 1, w, h)) return st;
    for (int y = 0; y < h; ++y)
        absDiffRow(roi::row(pSrc1, src1Step, y), roi::row(pSrc2, src2Step, y), roi::row(pDst, dstStep, y), w);
    return ippStsNoErr;
}

}  // namespace qx
