// Products and inverse of small dense matrices of doubles, addressed by two
// byte strides: stride1 between rows, stride2 between the elements of a row.
// Width is the number of columns, height the number of rows.
#include <cfloat>
#include <cmath>
#include <utility>
#include <vector>

#include "primitives/primitives.h"

namespace qx {

namespace {

// Element (r, c) of a matrix given by its strides.
inline const double& at(const Ipp64f* m, int stride1, int stride2, int r, int c) {
    return *reinterpret_cast<const double*>(reinterpret_cast<const char*>(m) + static_cast<long>(r) * stride1 +
                                            static_cast<long>(c) * stride2);
}

inline double& at(Ipp64f* m, int stride1, int stride2, int r, int c) {
    return *reinterpret_cast<double*>(reinterpret_cast<char*>(m) + static_cast<long>(r) * stride1 +
                                      static_cast<long>(c) * stride2);
}

inline bool badStride(int s) { return s < 1 || s % 8 != 0; }

// Scratch of n doubles: on the stack for the usual small sizes. The result is
// built here before it is stored, so a destination that overlaps a source
// still gets the right product.
struct Scratch {
    double local[256];
    std::vector<double> heap;
    double* p;
    // local is scratch, written before it is read: no need to clear it.
    // cppcheck-suppress uninitMemberVar
    explicit Scratch(std::size_t n) : p(local) {
        if (n > 256) {
            heap.resize(n);
            p = heap.data();
        }
    }
};

// rows x cols product; transposeA selects A^T (A is then inner x rows).
IppStatus product(bool transposeA, const Ipp64f* pA, int a1, int a2, int wA, int hA, const Ipp64f* pB, int b1,
                  int b2, int wB, int hB, Ipp64f* pD, int d1, int d2) {
    if (!pA || !pB || !pD) return ippStsNullPtrErr;
    if (wA < 1 || hA < 1 || wB < 1 || hB < 1) return ippStsSizeErr;
    if (badStride(a1) || badStride(a2) || badStride(b1) || badStride(b2) || badStride(d1) || badStride(d2))
        return ippStsStrideMatrixErr;
    const int rows = transposeA ? wA : hA;
    const int inner = transposeA ? hA : wA;
    if (inner != hB) return ippStsSizeMatchMatrixErr;
    const int cols = wB;
    Scratch result(static_cast<std::size_t>(rows) * cols);
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < cols; ++j) {
            double sum = 0;
            for (int k = 0; k < inner; ++k) {
                const double a = transposeA ? at(pA, a1, a2, k, i) : at(pA, a1, a2, i, k);
                sum += a * at(pB, b1, b2, k, j);
            }
            result.p[i * cols + j] = sum;
        }
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < cols; ++j) at(pD, d1, d2, i, j) = result.p[i * cols + j];
    return ippStsNoErr;
}

// A pivot at or below this size counts as zero.
constexpr double kSingularPivot = 2 * DBL_MIN;

}  // namespace

IppStatus ippmMul_mm_64f(const Ipp64f* pSrc1, int src1Stride1, int src1Stride2, int src1Width, int src1Height,
                         const Ipp64f* pSrc2, int src2Stride1, int src2Stride2, int src2Width, int src2Height,
                         Ipp64f* pDst, int dstStride1, int dstStride2) {
    return product(false, pSrc1, src1Stride1, src1Stride2, src1Width, src1Height, pSrc2, src2Stride1, src2Stride2,
                   src2Width, src2Height, pDst, dstStride1, dstStride2);
}

IppStatus ippmMul_tm_64f(const Ipp64f* pSrc1, int src1Stride1, int src1Stride2, int src1Width, int src1Height,
                         const Ipp64f* pSrc2, int src2Stride1, int src2Stride2, int src2Width, int src2Height,
                         Ipp64f* pDst, int dstStride1, int dstStride2) {
    return product(true, pSrc1, src1Stride1, src1Stride2, src1Width, src1Height, pSrc2, src2Stride1, src2Stride2,
                   src2Width, src2Height, pDst, dstStride1, dstStride2);
}

// Gauss-Jordan elimination with partial pivoting on a copy of the matrix; the
// destination is written only when the matrix proves regular. The work
// buffer argument is not needed: the scratch lives here.
IppStatus ippmInvert_m_64f(const Ipp64f* pSrc, int srcStride1, int srcStride2, Ipp64f* /*pBuffer*/, Ipp64f* pDst,
                           int dstStride1, int dstStride2, int widthHeight) {
    if (!pSrc || !pDst) return ippStsNullPtrErr;
    const int n = widthHeight;
    if (n < 1) return ippStsSizeErr;
    if (badStride(srcStride1) || badStride(srcStride2) || badStride(dstStride1) || badStride(dstStride2))
        return ippStsStrideMatrixErr;
    const std::size_t nn = static_cast<std::size_t>(n) * n;
    Scratch work(2 * nn);
    double* a = work.p;        // the matrix, reduced to the identity
    double* inv = work.p + nn;  // the identity, turned into the inverse
    for (int r = 0; r < n; ++r)
        for (int c = 0; c < n; ++c) {
            a[r * n + c] = at(pSrc, srcStride1, srcStride2, r, c);
            inv[r * n + c] = r == c ? 1.0 : 0.0;
        }
    for (int k = 0; k < n; ++k) {
        int pivotRow = k;
        for (int r = k + 1; r < n; ++r)
            if (std::fabs(a[r * n + k]) > std::fabs(a[pivotRow * n + k])) pivotRow = r;
        const double pivot = a[pivotRow * n + k];
        if (!(std::fabs(pivot) > kSingularPivot)) return ippStsSingularErr;
        if (pivotRow != k)
            for (int c = 0; c < n; ++c) {
                std::swap(a[k * n + c], a[pivotRow * n + c]);
                std::swap(inv[k * n + c], inv[pivotRow * n + c]);
            }
        const double scale = 1.0 / pivot;
        for (int c = 0; c < n; ++c) {
            a[k * n + c] *= scale;
            inv[k * n + c] *= scale;
        }
        for (int r = 0; r < n; ++r) {
            if (r == k) continue;
            const double f = a[r * n + k];
            if (f == 0.0) continue;
            for (int c = 0; c < n; ++c) {
                a[r * n + c] -= f * a[k * n + c];
                inv[r * n + c] -= f * inv[k * n + c];
            }
        }
    }
    for (int r = 0; r < n; ++r)
        for (int c = 0; c < n; ++c) at(pDst, dstStride1, dstStride2, r, c) = inv[r * n + c];
    return ippStsNoErr;
}

}  // namespace qx
