// The closed-form matting system: 3x3 window affinities over the pixels that
// unknown windows reach, the sparse matrix L + 255 Known, its solve and the
// write-back of the alpha.
#pragma once

#include "frame/image_buffer.h"
#include "matting/matte_state.h"

namespace qx {

// Most variables of one system; above it the system is refused as too large.
constexpr long long kVariableLimit = 500000;

// Erodes a known mask in place by 3x3, the image edge replicated.
void erodeKnown(GIMG<unsigned char>& image);

// Builds the affinities (45 values a window) and diagonal sums of every
// window whose centre is 0 in solveMask. Returns 0, or 4 if no window has to
// be built. Throws -1 above 100000000 triplets of capacity.
int buildWindowAffinities(MatteState& state, GIMG<unsigned char>& solveMask, unsigned char* const planePixels[3],
                          int planeStep, int& count);

// Numbers the variables (second erosion of solveMask), assembles the matrix
// from the windows' affinities and solves. Leaves alpha 0..255 of each variable in
// state.solution. Returns 0; failures throw through failMatte.
int assembleAndSolve(MatteState& state, int width, int height, int count, GIMG<unsigned char>& knownMask,
                     GIMG<unsigned char>& solveMask, GIMG<unsigned char>& work);

// Writes the solution into work at the unknown variables.
void writeSolvedAlpha(MatteState& state, int width, int height, GIMG<unsigned char>& knownMask,
                      GIMG<unsigned char>& solveMask, GIMG<unsigned char>& work);

// The whole solve for a caller's own known mask (255 known, 0 unknown) and
// alpha plane (the marks in, the alpha out). Returns 0 or the status of the
// step that stopped it.
int solveMatteWithKnown(MatteState& state, unsigned char* const planePixels[3], int planeStep, int width,
                        int height, unsigned char* knownPixels, int knownStep, unsigned char* alphaPixels,
                        int alphaStep);

}  // namespace qx
