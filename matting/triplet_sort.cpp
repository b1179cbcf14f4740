#include "matting/triplet_sort.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <vector>

#include "frame/progress.h"
#include "frame/status.h"

namespace qx {

// Every triplet comes from one 3x3 window with row <= column, so its column
// lies at one of at most 13 offsets from its row: dy * width + dx with dy in
// 0..2 and dx in -2..2. Instead of sorting all triplets (by row, then by
// column within each row) and merging equal neighbours, each row records which
// offsets occur, which gives every merged entry its final place directly; the
// values are then summed into those places in the order the triplets were
// made. Same merged rows as the sort and merge, up to the float summation order.
namespace {

int mergeTriplets(MatteState& state, int width, int count) {
    const int32_t* rows = state.tripletRows;
    const int32_t* columns = state.tripletColumns;
    const float* values = state.tripletValues;

    // Slot of each offset, slots ascending with the offset (and so with the column).
    const int maxOffset = 2 * width + 2;
    std::vector<int8_t> slotOfOffset(maxOffset + 1, -1);
    std::vector<int> offsetOfSlot;
    for (int dy = 0; dy <= 2; ++dy)
        for (int dx = -2; dx <= 2; ++dx)
            if (dy * width + dx >= 0) offsetOfSlot.push_back(dy * width + dx);
    std::sort(offsetOfSlot.begin(), offsetOfSlot.end());
    offsetOfSlot.erase(std::unique(offsetOfSlot.begin(), offsetOfSlot.end()), offsetOfSlot.end());
    for (std::size_t s = 0; s < offsetOfSlot.size(); ++s) slotOfOffset[offsetOfSlot[s]] = static_cast<int8_t>(s);

    int32_t firstRow = rows[0], lastRow = rows[0];
    for (int t = 1; t < count; ++t) {
        firstRow = std::min(firstRow, rows[t]);
        lastRow = std::max(lastRow, rows[t]);
    }
    const std::size_t rowRange = static_cast<std::size_t>(lastRow - firstRow) + 1;

    std::vector<uint16_t> present(rowRange, 0);
    for (int t = 0; t < count; ++t)
        present[rows[t] - firstRow] |= static_cast<uint16_t>(1u << slotOfOffset[columns[t] - rows[t]]);
    tickProgress();

    std::vector<int32_t> rowFirst(rowRange + 1);
    int32_t merged = 0;
    for (std::size_t r = 0; r < rowRange; ++r) {
        rowFirst[r] = merged;
        merged += __builtin_popcount(present[r]);
    }
    rowFirst[rowRange] = merged;

    auto* mergedRows = static_cast<int32_t*>(std::malloc(merged * sizeof(int32_t)));
    auto* mergedColumns = static_cast<int32_t*>(std::malloc(merged * sizeof(int32_t)));
    auto* mergedValues = static_cast<float*>(std::calloc(merged, sizeof(float)));
    if (!mergedRows || !mergedColumns || !mergedValues) {
        std::free(mergedRows);
        std::free(mergedColumns);
        std::free(mergedValues);
        failMatte(state, kSystemAllocFailed);
    }
    for (std::size_t r = 0; r < rowRange; ++r) {
        const int32_t row = firstRow + static_cast<int32_t>(r);
        int32_t k = rowFirst[r];
        for (unsigned bits = present[r]; bits; bits &= bits - 1) {
            mergedRows[k] = row;
            mergedColumns[k] = row + offsetOfSlot[__builtin_ctz(bits)];
            ++k;
        }
    }
    for (int t = 0; t < count; ++t) {
        const std::size_t r = rows[t] - firstRow;
        const unsigned below = (1u << slotOfOffset[columns[t] - rows[t]]) - 1u;
        mergedValues[rowFirst[r] + __builtin_popcount(present[r] & below)] += values[t];
    }

    std::free(state.tripletRows);
    std::free(state.tripletColumns);
    std::free(state.tripletValues);
    state.tripletRows = mergedRows;
    state.tripletColumns = mergedColumns;
    state.tripletValues = mergedValues;
    tickProgress();
    return merged - 1;
}

}  // namespace

int sortAndMergeTriplets(MatteState& state, int width, int count) {
    try {
        return mergeTriplets(state, width, count);
    } catch (const std::bad_alloc&) {
        failMatte(state, kSystemAllocFailed);
    }
}

}  // namespace qx
