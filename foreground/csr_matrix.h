// A sparse matrix in compressed sparse rows counting from 1, single precision.
#pragma once

#include <vector>

namespace qx {

// values and columns hold the stored entries row by row (columns from 1,
// ascending within a row unless a product left them otherwise); rowStart has
// rows + 1 entries, rowStart[0] is 1 and rowStart[rows] is the number of
// entries plus 1. Stored zeros are part of the structure and are kept.
struct CsrMatrix {
    int rows = 0;
    int cols = 0;
    std::vector<float> values;
    std::vector<int> columns;
    std::vector<int> rowStart;
};

// Number of stored entries.
inline int csrEntries(const CsrMatrix& m) { return m.rowStart.empty() ? 0 : m.rowStart.back() - 1; }

}  // namespace qx
