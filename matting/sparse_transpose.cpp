// Transposition of a matrix in one-based compressed sparse rows.
//
// The rows of the transpose are the original columns in ascending order, and
// within each the entries follow ascending original row. A counting sort on
// the column gives exactly that order, in linear time, without the combined
// (column, row) floating-point sort keys; the limit of 25 bits on rows and
// columns, which those keys need, is kept, so the same matrices are refused.
#include <cstddef>
#include <vector>

#include "matting/sparse_csr.h"

namespace qx {

namespace {

// Number of binary digits of a positive count: truncated log2 plus 1.
int bitsOf(int n) {
    int bits = 0;
    for (unsigned v = static_cast<unsigned>(n); v; v >>= 1) ++bits;
    return bits;
}

}  // namespace

int transposeCsr(const float* values, const int* columns, const int* rowStart, int rows, int cols,
                 float* outValues, int* outColumns, int* outRowStart) {
    if (rows < 0 || cols < 0 || bitsOf(rows) >= 26 || bitsOf(cols) >= 26) return -1;
    int count = rows > 0 ? rowStart[rows] - 1 : 0;
    for (int e = 0; e < count; ++e)
        if (columns[e] < 1 || columns[e] > cols) return -1;

    // next[c]: where the next entry of output row c goes (zero-based).
    std::vector<int> next(static_cast<std::size_t>(cols) + 1, 0);
    for (int e = 0; e < count; ++e) ++next[columns[e] - 1];
    int position = 0;
    for (int c = 0; c < cols; ++c) {
        int entries = next[c];
        outRowStart[c] = position + 1;
        next[c] = position;
        if (entries == 0) {
            // An empty row keeps one stored zero at column 1, so that every
            // row of the result has an entry.
            outValues[position] = 0.0f;
            outColumns[position] = 1;
            ++position;
        } else {
            position += entries;
        }
    }
    outRowStart[cols] = position + 1;

    for (int row = 0; row < rows; ++row) {
        for (int e = rowStart[row] - 1; e < rowStart[row + 1] - 1; ++e) {
            int slot = next[columns[e] - 1]++;
            outValues[slot] = values[e];
            outColumns[slot] = row + 1;
        }
    }
    return 0;
}

}  // namespace qx
