#include "matting/matte_state.h"

#include <cstdlib>

namespace qx {

void releaseMatteState(MatteState& state) {
    releaseArray(state.tripletValues);
    releaseArray(state.diagonalSums);
    releaseArray(state.tripletRows);
    releaseArray(state.tripletColumns);
    releaseArray(state.spareArray);
    releaseArray(state.variableOfPixel);
    releaseArray(state.knownOfVariable);
    releaseArray(state.markOfVariable);
    releaseArray(state.solution);
}

void failMatte(MatteState& state, int code) {
    releaseMatteState(state);
    throw code;
}

}  // namespace qx
