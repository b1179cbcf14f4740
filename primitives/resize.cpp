// Resize of 8-bit planes and of the first three bytes of four-byte pixels.
//
// Geometry: pixels are the nodes of a unit grid and destination pixel (dx, dy)
// samples the source at (roiX + dx / xFactor, roiY + dy / yFactor). So the
// first destination pixel sits on the rectangle's first pixel, a factor 1.0
// copies, and a reduction followed by the inverse enlargement lines up with
// the original. Taps may read image pixels outside the source rectangle; at
// the image edge they repeat the edge pixel.
//
// Interpolation: 1 nearest node; 2 linear between the two surrounding nodes;
// 4 cubic, the polynomial through the four nodes floor(s) - 1 .. floor(s) + 2
// (Lagrange weights, exact on the nodes themselves); 8 super-sampling, the
// area average of the source cells that the destination cell covers, for
// factors up to 1 only.
//
// Size written: the whole destination rectangle dstW by dstH. Positions past
// the source rectangle's last node take edge-repeated taps, so an enlargement
// into a destination a few pixels wider than roiW * factor still gets every
// pixel defined.
//
// Work is separable: per destination row the vertical taps are folded into a
// float row over the columns that the horizontal taps reach, then the
// horizontal taps give the pixels; results are rounded to nearest and
// saturated to 0..255. Large destinations are split over threads by rows.
#include <algorithm>
#include <cmath>
#include <vector>

#include "primitives/primitives.h"
#include "primitives/roi_checks.h"

namespace qx {

namespace {

constexpr IppStatus kInterpolationErr = -22;  // unknown interpolation code
constexpr IppStatus kResizeFactorErr = -23;   // factor not positive, or above 1 for super-sampling
constexpr long long kParallelPixels = 1 << 16;

// Taps of one axis: for destination index d, `count` source indices (already
// clamped into the image) and weights, at d * count.
struct Taps {
    int count = 0;
    std::vector<int> index;
    std::vector<float> weight;
    int lo = 0, hi = 0;  // smallest and largest source index used
};

Taps makeTaps(int dstLen, int roiStart, int srcLen, double factor, int interpolation) {
    Taps t;
    auto clampIndex = [srcLen](long long i) { return static_cast<int>(std::min<long long>(std::max(0LL, i), srcLen - 1)); };
    if (interpolation == IPPI_INTER_SUPER) {
        const double cell = 1.0 / factor;  // source length of one destination cell, >= 1
        t.count = static_cast<int>(std::ceil(cell)) + 1;
        t.index.assign(static_cast<size_t>(dstLen) * t.count, 0);
        t.weight.assign(static_cast<size_t>(dstLen) * t.count, 0.0f);
        for (int d = 0; d < dstLen; ++d) {
            const double a = roiStart + d * cell, b = a + cell;
            const long long first = static_cast<long long>(std::floor(a));
            for (int k = 0; k < t.count; ++k) {
                const double c0 = std::max(a, double(first + k)), c1 = std::min(b, double(first + k + 1));
                const size_t at = static_cast<size_t>(d) * t.count + k;
                t.index[at] = clampIndex(first + k);
                t.weight[at] = c1 > c0 ? static_cast<float>((c1 - c0) / cell) : 0.0f;
            }
        }
    } else {
        t.count = interpolation == IPPI_INTER_NN ? 1 : (interpolation == IPPI_INTER_LINEAR ? 2 : 4);
        t.index.resize(static_cast<size_t>(dstLen) * t.count);
        t.weight.resize(static_cast<size_t>(dstLen) * t.count);
        for (int d = 0; d < dstLen; ++d) {
            const double s = roiStart + d / factor;
            int* idx = &t.index[static_cast<size_t>(d) * t.count];
            float* wt = &t.weight[static_cast<size_t>(d) * t.count];
            if (t.count == 1) {
                idx[0] = clampIndex(static_cast<long long>(std::floor(s + 0.5)));
                wt[0] = 1.0f;
                continue;
            }
            const long long base = static_cast<long long>(std::floor(s));
            const double f = s - static_cast<double>(base);
            if (t.count == 2) {
                idx[0] = clampIndex(base);
                idx[1] = clampIndex(base + 1);
                wt[0] = static_cast<float>(1.0 - f);
                wt[1] = static_cast<float>(f);
                continue;
            }
            // Lagrange weights of nodes -1, 0, 1, 2 at f.
            const double w0 = -f * (f - 1.0) * (f - 2.0) / 6.0;
            const double w1 = (f + 1.0) * (f - 1.0) * (f - 2.0) / 2.0;
            const double w2 = -(f + 1.0) * f * (f - 2.0) / 2.0;
            const double w3 = (f + 1.0) * f * (f - 1.0) / 6.0;
            const double ws[4] = {w0, w1, w2, w3};
            for (int k = 0; k < 4; ++k) {
                idx[k] = clampIndex(base - 1 + k);
                wt[k] = static_cast<float>(ws[k]);
            }
        }
    }
    t.lo = *std::min_element(t.index.begin(), t.index.end());
    t.hi = *std::max_element(t.index.begin(), t.index.end());
    return t;
}

inline Ipp8u toByte(float v) {
    if (!(v > 0.0f)) return 0;
    if (v >= 255.0f) return 255;
    return static_cast<Ipp8u>(static_cast<int>(v + 0.5f));
}

// Channels worked: 1 of 1-byte pixels, or 3 of 4-byte pixels. N is the tap
// count when known at compile time (1, 2, 4), 0 for super-sampling's.
template <int Bytes, int Channels, int N>
void resizePlane(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, int dstW, int dstH, const Taps& tx,
                 const Taps& ty) {
    const int span = tx.hi - tx.lo + 1;
    // Both axes share the interpolation, so N fits both; super-sampling's
    // counts differ per axis.
    const int cx = N ? N : tx.count, cy = N ? N : ty.count;
    roi::ThreadScratch<float> rowBuf(static_cast<size_t>(span) * Channels);
    roi::ThreadScratch<const Ipp8u*> rowScratch(static_cast<size_t>(cy));
#pragma omp parallel if (static_cast<long long>(dstW) * dstH >= kParallelPixels)
    {
        const Ipp8u** rows = rowScratch.mine();
#pragma omp for schedule(static)
        for (int y = 0; y < dstH; ++y) {
            float* t = rowBuf.mine();
            const float* wy = &ty.weight[static_cast<size_t>(y) * cy];
            for (int k = 0; k < cy; ++k) {
                rows[k] = roi::row(src, srcStep, ty.index[static_cast<size_t>(y) * cy + k]) +
                          static_cast<size_t>(tx.lo) * Bytes;
            }
            // Vertical taps, all rows in one pass over the columns.
            for (int i = 0; i < span; ++i) {
                for (int c = 0; c < Channels; ++c) {
                    float acc = 0.0f;
                    for (int k = 0; k < cy; ++k) acc += wy[k] * rows[k][i * Bytes + c];
                    t[i * Channels + c] = acc;
                }
            }
            // Horizontal taps.
            Ipp8u* d = roi::row(dst, dstStep, y);
            for (int x = 0; x < dstW; ++x) {
                const int* idx = &tx.index[static_cast<size_t>(x) * cx];
                const float* wt = &tx.weight[static_cast<size_t>(x) * cx];
                float acc[Channels] = {};
                for (int k = 0; k < cx; ++k) {
                    const float* p = t + static_cast<size_t>(idx[k] - tx.lo) * Channels;
                    for (int c = 0; c < Channels; ++c) acc[c] += wt[k] * p[c];
                }
                for (int c = 0; c < Channels; ++c) d[x * Bytes + c] = toByte(acc[c]);
            }
        }
    }
}

template <int Bytes, int Channels>
void resizeAny(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, int dstW, int dstH, const Taps& tx,
               const Taps& ty) {
    switch (tx.count == ty.count ? tx.count : 0) {
        case 1: resizePlane<Bytes, Channels, 1>(src, srcStep, dst, dstStep, dstW, dstH, tx, ty); break;
        case 2: resizePlane<Bytes, Channels, 2>(src, srcStep, dst, dstStep, dstW, dstH, tx, ty); break;
        case 4: resizePlane<Bytes, Channels, 4>(src, srcStep, dst, dstStep, dstW, dstH, tx, ty); break;
        default: resizePlane<Bytes, Channels, 0>(src, srcStep, dst, dstStep, dstW, dstH, tx, ty); break;
    }
}

template <int Bytes, int Channels>
IppStatus resize(const Ipp8u* pSrc, int srcW, int srcH, int srcStep, int roiX, int roiY, int roiW, int roiH,
                 Ipp8u* pDst, int dstStep, int dstW, int dstH, double xFactor, double yFactor, int interpolation) {
    if (!pSrc || !pDst) return ippStsNullPtrErr;
    if (srcW < 1 || srcH < 1 || roiW < 1 || roiH < 1 || dstW < 1 || dstH < 1) return ippStsSizeErr;
    if (roi::badStep(srcStep, srcW, Bytes) || roi::badStep(dstStep, dstW, Bytes)) return ippStsStepErr;
    if (interpolation != IPPI_INTER_NN && interpolation != IPPI_INTER_LINEAR && interpolation != IPPI_INTER_CUBIC &&
        interpolation != IPPI_INTER_SUPER) {
        return kInterpolationErr;
    }
    if (!(xFactor > 0.0) || !(yFactor > 0.0)) return kResizeFactorErr;
    if (interpolation == IPPI_INTER_SUPER && (xFactor > 1.0 || yFactor > 1.0)) return kResizeFactorErr;
    // The source rectangle must meet the image.
    if (roiX >= srcW || roiY >= srcH || roiX + roiW <= 0 || roiY + roiH <= 0) return ippStsSizeErr;
    const Taps tx = makeTaps(dstW, roiX, srcW, xFactor, interpolation);
    const Taps ty = makeTaps(dstH, roiY, srcH, yFactor, interpolation);
    resizeAny<Bytes, Channels>(pSrc, srcStep, pDst, dstStep, dstW, dstH, tx, ty);
    return ippStsNoErr;
}

}  // namespace

IppStatus ippiResize_8u_C1R(const Ipp8u* pSrc, int srcW, int srcH, int srcStep, int roiX, int roiY, int roiW,
                            int roiH, Ipp8u* pDst, int dstStep, int dstW, int dstH, double xFactor, double yFactor,
                            int interpolation) {
    return resize<1, 1>(pSrc, srcW, srcH, srcStep, roiX, roiY, roiW, roiH, pDst, dstStep, dstW, dstH, xFactor,
                        yFactor, interpolation);
}

IppStatus ippiResize_8u_AC4R(const Ipp8u* pSrc, int srcW, int srcH, int srcStep, int roiX, int roiY, int roiW,
                             int roiH, Ipp8u* pDst, int dstStep, int dstW, int dstH, double xFactor,
                             double yFactor, int interpolation) {
    return resize<4, 3>(pSrc, srcW, srcH, srcStep, roiX, roiY, roiW, roiH, pDst, dstStep, dstW, dstH, xFactor,
                        yFactor, interpolation);
}

}  // namespace qx
