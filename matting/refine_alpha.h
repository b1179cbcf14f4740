// Joint bilateral refinement of a solved alpha over its eight neighbours.
#pragma once

namespace qx {

// alphaPixels: array of which element 0 is used. Returns 0 if the image is
// too small (nothing done), else 1. The one-pixel frame is never written.
int refineAlphaBilateral(int width, int height, unsigned char* const alphaPixels[], int alphaStep,
                         unsigned char* const planePixels[3], int planeStep, float sigma);

}  // namespace qx
