#include <cstdlib>

#include "matting/matting_system.h"

namespace qx {

// The caller owns and has filled the record; no stretch and no tick here.
int solveMatteWithKnown(MatteState& state, unsigned char* const planePixels[3], int planeStep, int width,
                        int height, unsigned char* knownPixels, int knownStep, unsigned char* alphaPixels,
                        int alphaStep) {
    GIMG<unsigned char> knownMask(width, height, knownPixels, knownStep);
    GIMG<unsigned char> alpha(width, height, alphaPixels, alphaStep);
    GIMG<unsigned char> solveMask(width, height);
    copyImage(knownMask, solveMask);
    erodeKnown(solveMask);

    int count = 0;
    int status = buildWindowAffinities(state, solveMask, planePixels, planeStep, count);
    if (status != 0) return status;
    status = assembleAndSolve(state, width, height, count, knownMask, solveMask, alpha);
    if (status != 0) return status;
    writeSolvedAlpha(state, width, height, knownMask, solveMask, alpha);
    releaseArray(state.solution);
    return 0;
}

}  // namespace qx
