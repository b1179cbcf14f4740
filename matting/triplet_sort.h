// Brings the window triplets of a MatteState into row-major order with each
// (row, column) pair once, its values summed.
#pragma once

#include "matting/matte_state.h"

namespace qx {

// Replaces the count triplets of state (rows, columns, values) by the merged
// ones, sorted by row and by column within a row. Ticks the progress bar once
// when the rows are ordered and once when the merge is done. Returns the index
// of the last kept triplet. A failed allocation is failMatte with 130.
int sortAndMergeTriplets(MatteState& state, int width, int count);

}  // namespace qx
