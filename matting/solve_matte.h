// The solve at one size: stretch the marks, split known from unknown, solve,
// sharpen, refine, stretch the output.
#pragma once

#include "frame/image_buffer.h"
#include "matting/matte_state.h"

namespace qx {

// planes: three colour planes; mask: the marks in, the alpha out. Returns 1;
// failures are thrown.
int solveMatte(GIMG<unsigned char>* const planes[3], GIMG<unsigned char>& mask, int inHigh, int inLow,
               int outHigh, int outLow);

int conditionAndSolve(MatteState& state, unsigned char* const planePixels[3], int planeStep, int width, int height,
                      unsigned char* maskPixels, int maskStep);

// Returns 0 done, 2 pixel count outside the limits, 4 nothing to solve.
int solveMatteFromMarks(MatteState& state, unsigned char* const planePixels[3], int planeStep, int width,
                        int height, GIMG<unsigned char>& work);

void splitMarks(MatteState& state, GIMG<unsigned char>& work, GIMG<unsigned char>& knownMask,
                GIMG<unsigned char>& foregroundMask);

void sharpenAlpha(MatteState& state, GIMG<unsigned char>& work);

// Copies the outer frame (columns at left and right, rows at top and bottom)
// of source into destination, over the allocated sizes.
void copyImageBorder(GIMG<unsigned char>& source, GIMG<unsigned char>& destination, int columns, int rows);

}  // namespace qx
