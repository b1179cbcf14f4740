// Grey-level erosion (minimum) and dilation (maximum) of 8-bit planes.
//
// Erode3x3 / Dilate3x3: the full 3 by 3 neighbourhood, read 1 pixel around the
// rectangle; -37 when the source step can't hold that margin (below w + 2) or
// the destination step is below w.
//
// Erode / Dilate with a mask, in place: the extreme over the mask's non-zero
// elements (starting from 255 for the minimum, 0 for the maximum), the mask's
// anchor on the pixel; the mask reaches around the rectangle as far as the
// anchor places it. Every output sees the original values: the rectangle and
// its margin are saved first and all reads go to that copy, which also lets
// rows run in parallel. Each mask row is split into runs of non-zero
// elements; a run of length L is a sliding-window extreme, done with the
// block prefix/suffix method in about three compares per pixel whatever L.
#include <algorithm>
#include <cstring>
#include <vector>

#include "primitives/primitives.h"
#include "primitives/roi_checks.h"

namespace qx {

namespace {

constexpr long long kParallelPixels = 1 << 16;

struct MinOp {
    static constexpr Ipp8u start = 255;
    static inline __attribute__((always_inline)) Ipp8u f(Ipp8u a, Ipp8u b) { return a < b ? a : b; }
};
struct MaxOp {
    static constexpr Ipp8u start = 0;
    static inline __attribute__((always_inline)) Ipp8u f(Ipp8u a, Ipp8u b) { return a > b ? a : b; }
};

// ---- 3 by 3 --------------------------------------------------------------

template <class Op>
inline __attribute__((always_inline)) void extreme3Row(const Ipp8u* a, const Ipp8u* b, const Ipp8u* c, Ipp8u* v,
                                                       Ipp8u* d, int w) {
    for (int i = 0; i < w + 2; ++i) v[i] = Op::f(Op::f(a[i], b[i]), c[i]);
    for (int x = 0; x < w; ++x) d[x] = Op::f(Op::f(v[x], v[x + 1]), v[x + 2]);
}

QX_ROW_KERNEL
void erode3Row(const Ipp8u* a, const Ipp8u* b, const Ipp8u* c, Ipp8u* v, Ipp8u* d, int w) {
    extreme3Row<MinOp>(a, b, c, v, d, w);
}

QX_ROW_KERNEL
void dilate3Row(const Ipp8u* a, const Ipp8u* b, const Ipp8u* c, Ipp8u* v, Ipp8u* d, int w) {
    extreme3Row<MaxOp>(a, b, c, v, d, w);
}

template <bool Erode>
IppStatus morph3x3(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, int w, int h) {
    if (!src || !dst) return ippStsNullPtrErr;
    if (roi::badSize(w, h)) return ippStsSizeErr;
    if (srcStep < w + 2 || dstStep < w) return ippStsStepMarginErr;
    roi::ThreadScratch<Ipp8u> scratch(static_cast<size_t>(w) + 2);
#pragma omp parallel if (static_cast<long long>(w) * h >= kParallelPixels)
    {
        Ipp8u* v = scratch.mine();
#pragma omp for schedule(static)
        for (int y = 0; y < h; ++y) {
            const Ipp8u* s = roi::row(src, srcStep, y) - 1;
            Ipp8u* d = roi::row(dst, dstStep, y);
            if (Erode) {
                erode3Row(s - srcStep, s, s + srcStep, v, d, w);
            } else {
                dilate3Row(s - srcStep, s, s + srcStep, v, d, w);
            }
        }
    }
    return ippStsNoErr;
}

// ---- arbitrary mask, in place -----------------------------------------------

struct Run {
    int row, col, len;  // mask row, first mask column, number of elements
};

// acc[x] = op(acc[x], extreme of seg[x .. x + len - 1]) for x < w; g and h are
// scratch rows of at least w + len - 1 entries.
template <class Op>
void windowExtreme(const Ipp8u* seg, int len, int w, Ipp8u* acc, Ipp8u* g, Ipp8u* h) {
    if (len == 1) {
        for (int x = 0; x < w; ++x) acc[x] = Op::f(acc[x], seg[x]);
        return;
    }
    if (len <= 3) {
        for (int x = 0; x < w; ++x) {
            Ipp8u m = Op::f(seg[x], seg[x + 1]);
            if (len == 3) m = Op::f(m, seg[x + 2]);
            acc[x] = Op::f(acc[x], m);
        }
        return;
    }
    const int n = w + len - 1;
    // g: extreme from the start of each block of len to k; h: from k to the block's end.
    for (int b = 0; b < n; b += len) {
        const int e = std::min(b + len, n);
        g[b] = seg[b];
        for (int k = b + 1; k < e; ++k) g[k] = Op::f(g[k - 1], seg[k]);
        h[e - 1] = seg[e - 1];
        for (int k = e - 2; k >= b; --k) h[k] = Op::f(h[k + 1], seg[k]);
    }
    for (int x = 0; x < w; ++x) acc[x] = Op::f(acc[x], Op::f(h[x], g[x + len - 1]));
}

template <class Op>
IppStatus morphMaskInPlace(Ipp8u* img, int step, int w, int h, const Ipp8u* mask, int maskW, int maskH, int ax,
                           int ay) {
    if (!img || !mask) return ippStsNullPtrErr;
    if (roi::badSize(w, h)) return ippStsSizeErr;
    if (roi::badStep(step, w, 1)) return ippStsStepErr;
    if (maskW < 1 || maskH < 1) return ippStsMaskSizeErr;
    if (ax < 0 || ay < 0 || ax >= maskW || ay >= maskH) return ippStsAnchorErr;

    std::vector<Run> runs;
    int longest = 1;
    for (int j = 0; j < maskH; ++j) {
        for (int i = 0; i < maskW;) {
            if (!mask[j * maskW + i]) {
                ++i;
                continue;
            }
            int e = i;
            while (e < maskW && mask[j * maskW + e]) ++e;
            runs.push_back({j, i, e - i});
            longest = std::max(longest, e - i);
            i = e;
        }
    }

    // Saved copy of the rectangle and the margin that the mask reaches: copy
    // row 0 / column 0 is image row -ay / column -ax.
    const int cw = w + maskW - 1, ch = h + maskH - 1;
    std::vector<Ipp8u> copy(static_cast<size_t>(cw) * ch);
    for (int r = 0; r < ch; ++r) {
        std::memcpy(&copy[static_cast<size_t>(r) * cw], roi::row(img, step, r - ay) - ax, cw);
    }

    const size_t wide = static_cast<size_t>(w) + longest;
    roi::ThreadScratch<Ipp8u> scratch(static_cast<size_t>(w) + 2 * wide);
#pragma omp parallel if (static_cast<long long>(w) * h * std::max<size_t>(runs.size(), 1) >= kParallelPixels)
    {
        Ipp8u* acc = scratch.mine();
        Ipp8u* g = acc + w;
        Ipp8u* hs = g + wide;
#pragma omp for schedule(static)
        for (int y = 0; y < h; ++y) {
            std::fill(acc, acc + w, Op::start);
            for (const Run& run : runs) {
                const Ipp8u* seg = &copy[static_cast<size_t>(y + run.row) * cw + run.col];
                windowExtreme<Op>(seg, run.len, w, acc, g, hs);
            }
            std::memcpy(roi::row(img, step, y), acc, w);
        }
    }
    return ippStsNoErr;
}

}  // namespace

IppStatus ippiErode3x3_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h) {
    return morph3x3<true>(pSrc, srcStep, pDst, dstStep, w, h);
}

IppStatus ippiDilate3x3_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h) {
    return morph3x3<false>(pSrc, srcStep, pDst, dstStep, w, h);
}

IppStatus ippiErode_8u_C1IR(Ipp8u* pSrcDst, int step, int w, int h, const Ipp8u* pMask, int maskW, int maskH,
                            int anchorX, int anchorY) {
    return morphMaskInPlace<MinOp>(pSrcDst, step, w, h, pMask, maskW, maskH, anchorX, anchorY);
}

IppStatus ippiDilate_8u_C1IR(Ipp8u* pSrcDst, int step, int w, int h, const Ipp8u* pMask, int maskW, int maskH,
                             int anchorX, int anchorY) {
    return morphMaskInPlace<MaxOp>(pSrcDst, step, w, h, pMask, maskW, maskH, anchorX, anchorY);
}

}  // namespace qx
