// The local solve of a small edited rectangle: re-solved at once inside a
// frame of already good alpha, at a pyramid level and in blocks as memory
// demands.
#pragma once

#include "matting/joint_upsample.h"
#include "qxmatte.h"

namespace qx {

// The rectangle actually solved, with the frame widths on its inside.
struct LocalBox {
    int x = 0, y = 0, width = 0, height = 0;
    int frameLeft = 0, frameRight = 0, frameTop = 0, frameBottom = 0;
};

// The job's rectangle widened by roiBorder on each side as far as the image
// allows. (With roiBorder 0 or below all frames are 0.)
LocalBox localFrame(const QxJob& job);

// Returns 1 (also when there is nothing to do), -5 when the marks allow no
// solve, or by its own catch e - 1000, -1 or -1000. Writes maskPixels inside
// the box only; frame and fixed pixels keep exactly their old values.
int solveLocal(QxJob* job);

// Solves mask where fixedMap is 0, at the pyramid level that the memory
// budget allows, finishing at full size in blocks. Returns 1 or -5.
int solveReducedWithBlocks(Plane& fixedMap, Plane* const planes[3], Plane& mask);

// Block-by-block solve over the whole of mask, each block framed by what the
// blocks before it left; refine adds the bilateral refinement to each block.
void solveBlocks(Plane* const planes[3], Plane& fixedMap, Plane& mask, bool refine);

}  // namespace qx
