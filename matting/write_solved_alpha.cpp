#include <cmath>

#include "matting/matting_system.h"

namespace qx {

// Variables are the zero pixels of solveMask in reading order; only the
// unknown ones take the solution (truncated), the marks keep their value.
// A NaN in the solution (a solve that broke down) also leaves the mark.
void writeSolvedAlpha(MatteState& state, int width, int height, GIMG<unsigned char>& knownMask,
                      GIMG<unsigned char>& solveMask, GIMG<unsigned char>& work) {
    const float* solution = state.solution;
    int k = 0;
    for (int y = 0; y < height; ++y) {
        const unsigned char* mask = solveMask.row(y);
        const unsigned char* known = knownMask.row(y);
        unsigned char* alpha = work.row(y);
        for (int x = 0; x < width; ++x) {
            if (mask[x] != 0) continue;
            // The finish clamped the solution to 0..255, which a NaN passes
            // through; a pixel without a number keeps its mark.
            const float v = solution[k];
            if (known[x] == 0 && !std::isnan(v)) alpha[x] = static_cast<unsigned char>(static_cast<int>(v));
            ++k;
        }
    }
}

}  // namespace qx
