// Fixed Gaussian smoothing of 8-bit planes. The filter reads its radius (1 or
// 2 pixels) around the rectangle; callers inset their views so those reads
// stay inside the image.
//
// 3 by 3: kernel (1 2 1)^T (1 2 1) / 16; the exact sum r is rounded with ties
// to even, (r + 7 + ((r >> 4) & 1)) >> 4.
// 5 by 5: the symmetric integer kernel below, sum 571; the result is
// ((r + 286) * 29382) >> 24, i.e. r / 571 rounded, in unsigned 32 bits.
//
// Both work a row at a time: a vertical pass folds the needed source rows into
// 16-bit column sums (exact: the largest is 65025), a horizontal pass combines
// those; the row kernels are plain loops the compiler vectorises.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "primitives/primitives.h"
#include "primitives/roi_checks.h"

namespace qx {

namespace {

constexpr long long kParallelPixels = 1 << 16;

// Column sums of rows y-1, y, y+1 with weights 1 2 1, for columns -1 .. w.
QX_ROW_KERNEL
void gauss3Vertical(const Ipp8u* a, const Ipp8u* b, const Ipp8u* c, uint16_t* __restrict v, int n) {
    for (int i = 0; i < n; ++i) v[i] = static_cast<uint16_t>(a[i] + 2 * b[i] + c[i]);
}

QX_ROW_KERNEL
void gauss3Horizontal(const uint16_t* v, Ipp8u* __restrict d, int w) {
    for (int x = 0; x < w; ++x) {
        const unsigned r = v[x] + 2u * v[x + 1] + v[x + 2];
        d[x] = static_cast<Ipp8u>((r + 7u + ((r >> 4) & 1u)) >> 4);
    }
}

// Kernel rows (the kernel is symmetric in both directions):
//    2   7  12   7   2
//    7  31  52  31   7
//   12  52 127  52  12
//    7  31  52  31   7
//    2   7  12   7   2
// With s0 = rows +-2 summed, s1 = rows +-1 summed, s2 = the centre row, the
// per-column sums for horizontal distance 2, 1, 0 are
//   A = 2 s0 + 7 s1 + 12 s2,  B = 7 s0 + 31 s1 + 52 s2,  C = 12 s0 + 52 s1 + 127 s2
// (C <= 65025 fits 16 bits), and r = A(x-2) + A(x+2) + B(x-1) + B(x+1) + C(x).
QX_ROW_KERNEL
void gauss5Vertical(const Ipp8u* r0, const Ipp8u* r1, const Ipp8u* r2, const Ipp8u* r3, const Ipp8u* r4,
                    uint16_t* __restrict A, uint16_t* __restrict B, uint16_t* __restrict C, int n) {
    for (int i = 0; i < n; ++i) {
        const unsigned s0 = r0[i] + r4[i], s1 = r1[i] + r3[i], s2 = r2[i];
        A[i] = static_cast<uint16_t>(2u * s0 + 7u * s1 + 12u * s2);
        B[i] = static_cast<uint16_t>(7u * s0 + 31u * s1 + 52u * s2);
        C[i] = static_cast<uint16_t>(12u * s0 + 52u * s1 + 127u * s2);
    }
}

QX_ROW_KERNEL
void gauss5Horizontal(const uint16_t* A, const uint16_t* B, const uint16_t* C, Ipp8u* __restrict d, int w) {
    for (int x = 0; x < w; ++x) {
        const uint32_t r = uint32_t(A[x]) + A[x + 4] + B[x + 1] + B[x + 3] + C[x + 2];
        // r <= 145605, so (r + 286) * 29382 < 2^32.
        d[x] = static_cast<Ipp8u>(((r + 286u) * 29382u) >> 24);
    }
}

void gauss3(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, int w, int h) {
    const int n = w + 2;
    roi::ThreadScratch<uint16_t> scratch(n);
#pragma omp parallel if (static_cast<long long>(w) * h >= kParallelPixels)
    {
        uint16_t* v = scratch.mine();
#pragma omp for schedule(static)
        for (int y = 0; y < h; ++y) {
            const Ipp8u* centre = roi::row(src, srcStep, y) - 1;
            gauss3Vertical(centre - srcStep, centre, centre + srcStep, v, n);
            gauss3Horizontal(v, roi::row(dst, dstStep, y), w);
        }
    }
}

void gauss5(const Ipp8u* src, int srcStep, Ipp8u* dst, int dstStep, int w, int h) {
    const int n = w + 4;
    roi::ThreadScratch<uint16_t> scratch(3 * static_cast<size_t>(n));
#pragma omp parallel if (static_cast<long long>(w) * h >= kParallelPixels)
    {
        uint16_t* A = scratch.mine();
        uint16_t* B = A + n;
        uint16_t* C = B + n;
#pragma omp for schedule(static)
        for (int y = 0; y < h; ++y) {
            const Ipp8u* centre = roi::row(src, srcStep, y) - 2;
            const std::ptrdiff_t up = srcStep;  // two rows apart in 64 bits: the step may be near INT_MAX
            gauss5Vertical(centre - 2 * up, centre - up, centre, centre + up, centre + 2 * up, A, B, C, n);
            gauss5Horizontal(A, B, C, roi::row(dst, dstStep, y), w);
        }
    }
}

}  // namespace

IppStatus ippiFilterGauss_8u_C1R(const Ipp8u* pSrc, int srcStep, Ipp8u* pDst, int dstStep, int w, int h, int mask) {
    const IppStatus st = roi::check2(pSrc, srcStep, 1, pDst, dstStep, 1, w, h);
    if (st != ippStsNoErr) return st;
    if (mask == ippMskSize3x3) {
        gauss3(pSrc, srcStep, pDst, dstStep, w, h);
    } else if (mask == ippMskSize5x5) {
        gauss5(pSrc, srcStep, pDst, dstStep, w, h);
    } else {
        return ippStsMaskSizeErr;
    }
    return ippStsNoErr;
}

}  // namespace qx
