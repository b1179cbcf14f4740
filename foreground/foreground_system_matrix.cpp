// Assembly of a tile's foreground system, second half: the difference matrix,
// the weighted smoothness rows, and the stacked system of priors, compositing
// and smoothness.
#include "foreground/foreground_system.h"
#include "matting/sparse_csr.h"

namespace qx {

CsrMatrix gradientMatrix(GIMG<float>* const masks[4]) {
    const int w = masks[0]->width, h = masks[0]->height;
    const int n = w * h;
    CsrMatrix grad;
    grad.rows = 4 * n;
    grad.cols = n;
    grad.values.reserve(8 * static_cast<std::size_t>(n));
    grad.columns.reserve(8 * static_cast<std::size_t>(n));
    grad.rowStart.reserve(4 * static_cast<std::size_t>(n) + 1);
    // One-based column of the neighbour q, relative to p + 1, per block.
    const int neighbour[4] = {1, w, w + 1, 1 - w};
    for (int k = 0; k < 4; ++k) {
        for (int y = 0; y < h; ++y) {
            const float* mask = masks[k]->row(y);
            for (int x = 0; x < w; ++x) {
                const int p = y * w + x;
                grad.rowStart.push_back(static_cast<int>(grad.values.size()) + 1);
                if (mask[x] != 1.0f) {
                    // No row is ever empty: a stored zero at column 1.
                    grad.values.push_back(0.0f);
                    grad.columns.push_back(1);
                } else if (k < 3) {
                    grad.values.insert(grad.values.end(), {1.0f, -1.0f});
                    grad.columns.insert(grad.columns.end(), {p + 1, p + 1 + neighbour[k]});
                } else {
                    // The up-right neighbour comes first so that columns ascend.
                    grad.values.insert(grad.values.end(), {-1.0f, 1.0f});
                    grad.columns.insert(grad.columns.end(), {p + 1 + neighbour[k], p + 1});
                }
            }
        }
    }
    grad.rowStart.push_back(static_cast<int>(grad.values.size()) + 1);
    return grad;
}

namespace {

// diag(weight) * grad through the general sparse product, into product.
int weightedRows(const CsrMatrix& grad, const std::vector<float>& weight, const std::vector<int>& diagonalIndex,
                 CsrMatrix& product) {
    const int rows = grad.rows;
    const int nzmax = 2 * rows;  // at most two entries a row
    product.rows = rows;
    product.cols = grad.cols;
    product.values.assign(nzmax, 0.0f);
    product.columns.assign(nzmax, 0);
    product.rowStart.assign(rows + 1, 0);
    int info = 0;
    csrMultCsr('N', 0, 0, rows, rows, grad.cols, weight.data(), diagonalIndex.data(), diagonalIndex.data(),
               grad.values.data(), grad.columns.data(), grad.rowStart.data(), product.values.data(),
               product.columns.data(), product.rowStart.data(), nzmax, &info);
    return info;
}

}  // namespace

int smoothnessMatrix(const CsrMatrix& grad, const std::vector<float>& gradWeightF,
                     const std::vector<float>& gradWeightB, CsrMatrix& smooth) {
    const int rows = grad.rows;  // 4N
    const int n = grad.cols;
    // Column indices and row starts of a diagonal matrix coincide: i + 1.
    std::vector<int> diagonalIndex(rows + 1);
    for (int i = 0; i <= rows; ++i) diagonalIndex[i] = i + 1;

    CsrMatrix first, second;
    if (weightedRows(grad, gradWeightF, diagonalIndex, first) != 0) return QxBase::QXRC_PRODUCT;
    if (weightedRows(grad, gradWeightB, diagonalIndex, second) != 0) return QxBase::QXRC_PRODUCT;

    const int firstCount = first.rowStart[rows] - 1;
    const int secondCount = second.rowStart[rows] - 1;
    smooth.rows = 2 * rows;
    smooth.cols = 2 * n;
    smooth.values.assign(first.values.begin(), first.values.begin() + firstCount);
    smooth.values.insert(smooth.values.end(), second.values.begin(), second.values.begin() + secondCount);
    smooth.columns.assign(first.columns.begin(), first.columns.begin() + firstCount);
    smooth.columns.reserve(static_cast<std::size_t>(firstCount) + secondCount);
    for (int i = 0; i < secondCount; ++i) smooth.columns.push_back(second.columns[i] + n);  // onto B
    smooth.rowStart.assign(first.rowStart.begin(), first.rowStart.begin() + rows);
    smooth.rowStart.reserve(2 * static_cast<std::size_t>(rows) + 1);
    for (int i = 0; i <= rows; ++i) smooth.rowStart.push_back(second.rowStart[i] + firstCount);
    return 0;
}

CsrMatrix systemMatrix(const std::vector<float>& dataWeightF, const std::vector<float>& dataWeightB,
                       const GIMG<float>& alphaF, const CsrMatrix& smooth) {
    const int w = alphaF.width, h = alphaF.height;
    const int n = w * h;
    const int smoothCount = csrEntries(smooth);
    CsrMatrix system;
    system.rows = 11 * n;
    system.cols = 2 * n;
    system.values.reserve(4 * static_cast<std::size_t>(n) + smoothCount);
    system.columns.reserve(4 * static_cast<std::size_t>(n) + smoothCount);
    system.rowStart.reserve(11 * static_cast<std::size_t>(n) + 1);

    // Priors: the diagonal of dataWeightF, then dataWeightB.
    for (int i = 0; i < 2 * n; ++i) {
        system.rowStart.push_back(i + 1);
        system.values.push_back(i < n ? dataWeightF[i] : dataWeightB[i - n]);
        system.columns.push_back(i + 1);
    }
    // Compositing: a F + (1 - a) B, both entries stored even when one is 0.
    for (int y = 0; y < h; ++y) {
        const float* a = alphaF.row(y);
        for (int x = 0; x < w; ++x) {
            const int p = y * w + x;
            system.rowStart.push_back(2 * n + 2 * p + 1);
            system.values.insert(system.values.end(), {a[x], 1.0f - a[x]});
            system.columns.insert(system.columns.end(), {p + 1, n + p + 1});
        }
    }
    // Smoothness rows, shifted behind the 4N entries above.
    system.values.insert(system.values.end(), smooth.values.begin(), smooth.values.begin() + smoothCount);
    system.columns.insert(system.columns.end(), smooth.columns.begin(), smooth.columns.begin() + smoothCount);
    for (int i = 0; i <= smooth.rows; ++i) system.rowStart.push_back(smooth.rowStart[i] + 4 * n);
    return system;
}

}  // namespace qx
