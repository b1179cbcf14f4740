#include "matting/matting_system.h"

namespace qx {

// Variables are the zero pixels of solveMask in reading order; only the
// unknown ones take the solution (truncated), the marks keep their value.
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
            if (known[x] == 0) alpha[x] = static_cast<unsigned char>(static_cast<int>(solution[k]));
            ++k;
        }
    }
}

}  // namespace qx
