// Reductions of planes and masks, and the colour-guided doubling of a mask.
#pragma once

#include "frame/image_buffer.h"

namespace qx {

using Plane = GIMG<unsigned char>;

// Doubles smallMask into fullMask under the guide of the full-size planes.
// Returns 1.
int jointUpsample(Plane* const* smallMask, Plane* const* fullMask, Plane* const fullPlanes[3], float sigma);

void reduceHalf(Plane& source, Plane& destination, bool smooth);
void reduceToSize(Plane& source, Plane& destination, bool smooth);
// destination(x, y) = source(2x + xOffset, 2y + yOffset).
void decimateTwo(const Plane& source, Plane& destination, int xOffset, int yOffset);
// destination(2x + xOffset, 2y + yOffset) = source(x, y).
void interleaveTwo(const Plane& source, Plane& destination, int xOffset, int yOffset);
// Brings a mask of any reduced size to fullMask: to exactly half by a cubic
// resize if needed, then jointUpsample with sigma 10.
void expandFromReduced(Plane& smallMask, Plane& fullMask, Plane* const fullPlanes[3]);

// jointUpsample leaves the first odd row and column and a strip past its view
// at the right and bottom unreached; this overwrites them from their nearest
// reached line: nearLines at the top and left, farLines at the bottom and right.
void repairUpsampleBorder(Plane& mask, int nearLines, int farLines);

void padImageEdges(Plane& image, int left, int top, int right, int bottom);

struct ImagePyramid {
    int levels = -1;
    Plane* planes[3][4] = {};
    Plane* guides[4] = {};
    Plane* masks[4] = {};
};

void initPyramid(ImagePyramid& pyramid);
int buildPyramid(ImagePyramid& pyramid, Plane* const planes[3], Plane* guide, Plane* mask, int levels);
void upsampleLevel(ImagePyramid& pyramid, int level);
void upsampleAllLevels(ImagePyramid& pyramid);
void releasePyramid(ImagePyramid& pyramid);

}  // namespace qx
