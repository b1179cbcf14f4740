// A tile's normal equations: per colour channel the least-squares right side,
// the product with the transposed system, the upper triangle for the direct
// solver, and the write-back of the solved foreground.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <utility>

#include "foreground/foreground_system.h"
#include "matting/sparse_csr.h"

namespace qx {

void systemRightSide(const GIMG<float>& colour, const GIMG<float>& alphaF, const std::vector<float>& dataWeightF,
                     const std::vector<float>& dataWeightB, std::vector<float>& rhs) {
    const int w = alphaF.width, h = alphaF.height;
    const std::size_t n = static_cast<std::size_t>(w) * h;
    rhs.assign(11 * n, 0.0f);
    for (int y = 0; y < h; ++y) {
        const float* a = alphaF.row(y);
        const float* c = colour.row(y);
        for (int x = 0; x < w; ++x) {
            const std::size_t p = static_cast<std::size_t>(y) * w + x;
            // The tests widen alpha to double against double constants: a > 0.1
            // holds from byte 26, a < 0.9 up to byte 229.
            rhs[p] = static_cast<double>(a[x]) > 0.1 ? c[x] * dataWeightF[p] : 0.0f;
            rhs[n + p] = static_cast<double>(a[x]) < 0.9 ? c[x] * dataWeightB[p] : 0.0f;
            rhs[2 * n + p] = c[x];
        }
    }
}

CsrMatrix transposeSystem(const CsrMatrix& system) {
    CsrMatrix t;
    t.rows = system.cols;
    t.cols = system.rows;
    // Room for a stored zero in each empty output row as well.
    const std::size_t room = static_cast<std::size_t>(csrEntries(system)) + t.rows;
    t.values.resize(room);
    t.columns.resize(room);
    t.rowStart.resize(static_cast<std::size_t>(t.rows) + 1);
    if (transposeCsr(system.values.data(), system.columns.data(), system.rowStart.data(), system.rows, system.cols,
                     t.values.data(), t.columns.data(), t.rowStart.data()) != 0)
        throw QxBase::QXRC_TRANSPOSE;
    t.values.resize(csrEntries(t));
    t.columns.resize(csrEntries(t));
    return t;
}

int normalMatrix(const CsrMatrix& transpose, const CsrMatrix& system, CsrMatrix& normal) {
    const int order = transpose.rows;
    const int nzmax = 2 * system.rowStart[system.rows];
    normal.rows = normal.cols = order;
    normal.values.assign(nzmax, 0.0f);
    normal.columns.assign(nzmax, 0);
    normal.rowStart.assign(static_cast<std::size_t>(order) + 1, 0);
    int info = 0;
    csrMultCsr('N', 0, 0, order, system.rows, system.cols, transpose.values.data(), transpose.columns.data(),
               transpose.rowStart.data(), system.values.data(), system.columns.data(), system.rowStart.data(),
               normal.values.data(), normal.columns.data(), normal.rowStart.data(), nzmax, &info);
    return info != 0 ? QxBase::QXRC_PRODUCT : 0;
}

CsrMatrix upperTriangle(const CsrMatrix& normal) {
    const int order = normal.rows;
    const int last = normal.rowStart[order];
    CsrMatrix upper;
    upper.rows = upper.cols = order;
    // Diagonal plus half the rest, as every row stores its diagonal.
    const std::size_t room = static_cast<std::size_t>(order) + std::max(0, (last - order - 1) / 2);
    upper.values.reserve(room);
    upper.columns.reserve(room);
    upper.rowStart.reserve(static_cast<std::size_t>(order) + 1);
    std::vector<std::pair<int, float>> row;
    for (int r = 1; r <= order; ++r) {
        upper.rowStart.push_back(static_cast<int>(upper.values.size()) + 1);
        const int begin = normal.rowStart[r - 1] - 1, end = normal.rowStart[r] - 1;
        if (end - begin == 1 && normal.values[begin] == 0.0f) {
            // A lone stored zero stands in for the row on the diagonal,
            // whatever its column.
            upper.values.push_back(0.0f);
            upper.columns.push_back(r);
            continue;
        }
        row.clear();
        for (int i = begin; i < end; ++i)
            if (normal.columns[i] >= r) row.emplace_back(normal.columns[i], normal.values[i]);
        // The product leaves a row's columns in the order it found them; the
        // solver wants them ascending. Order within a row changes no value.
        std::sort(row.begin(), row.end(),
                  [](const std::pair<int, float>& a, const std::pair<int, float>& b) { return a.first < b.first; });
        for (const auto& e : row) {
            upper.columns.push_back(e.first);
            upper.values.push_back(e.second);
        }
    }
    upper.rowStart.push_back(static_cast<int>(upper.values.size()) + 1);
    return upper;
}

namespace {

[[noreturn]] void solverFailed(const char* format, int error, int exitCode) {
    // Running out of memory is an allocation failure like any other: it goes
    // to the driver, which returns its out-of-memory value, instead of ending
    // the host's process.
    if (error == kSparseOutOfMemory) throw std::bad_alloc();
    std::printf(format, error);
    std::fflush(stdout);
    std::exit(exitCode);
}

}  // namespace

void factoriseNormal(SparseSession& session, const CsrMatrix& upper) {
    int error = sparseAnalyse(session, upper.rows, upper.values.data(), upper.rowStart.data(), upper.columns.data());
    if (error != kSparseOk) solverFailed("\nERROR during symbolic factorization: %d", error, 1);
    error = sparseFactorise(session);
    if (error != kSparseOk) solverFailed("\nERROR during numerical factorization: %d", error, 2);
}

void solveNormal(SparseSession& session, const std::vector<float>& normalRhs, std::vector<float>& solution) {
    solution.assign(normalRhs.size(), 0.0f);
    const int error = sparseSolve(session, normalRhs.data(), solution.data());
    if (error != kSparseOk) solverFailed("\nERROR during solution: %d", error, 3);
}

void writeForeground(const std::vector<float>& solution, GIMG<unsigned char>& plane) {
    const int w = plane.width, h = plane.height;
    for (int y = 1; y < h - 1; ++y) {
        unsigned char* out = plane.row(y);
        for (int x = 1; x < w - 1; ++x) {
            float v = solution[static_cast<std::size_t>(y) * w + x];
            if (!(v >= 0.0f)) v = 0.0f;  // also a NaN, which converts to 0 on this target
            if (v > 255.0f) v = 255.0f;
            out[x] = static_cast<unsigned char>(static_cast<int>(v));  // truncation, not rounding
        }
    }
}

}  // namespace qx
