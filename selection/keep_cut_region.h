// The work of the keep/cut tile paths over the job's rectangle: colour
// planes, the map of known pixels, the marks as they came, and the steps the
// full-size and half-size paths share.
#pragma once

#include "matting/joint_upsample.h"
#include "qxmatte.h"
#include "selection/tile_tree.h"

namespace qx {

inline unsigned char* pixelAt(unsigned char* base, int step, int x, int y, int bytes = 1) {
    return base + static_cast<long long>(y) * step + static_cast<long long>(x) * bytes;
}

struct KeepCutRegion {
    int width, height;
    Plane mask;                    // attached to the rectangle of maskPixels: the working mask
    Plane plane0, plane1, plane2;  // colour: plane i from byte i of imagePixels
    Plane fixedMap;                // 0xFF known, 0 to solve
    Plane savedMarks;              // the working mask as it came
    Plane* planes[3];
    explicit KeepCutRegion(const QxJob& job);
};

// savedMarks = mask; fixedMap = 0xFF where bit 0 (fixed by the user) is set;
// then bit 0 of the mask takes bit 1, so a fixed cut 0x01 reads 0 and a fixed
// keep 0xFF stays 255 for the solver.
void takeMarks(KeepCutRegion& region);

// Throws -5 (after putting the mark bits of savedMarks back into the mask)
// unless fixedMap/mask hold at least 3 pixels to solve, a cut and a keep.
void requireSolvable(const Plane& fixedMap, const Plane& mask, KeepCutRegion& region);

// Builds the tree over tiles, checks its leaves and solves them; progress
// step range / (9 * leaves) on a total of 20000.
void solveTileTree(TileJob& tiles, int range);

// Fixed pixels get their marks back (0xFF and 0x01 also their source colour
// in outPixels); every other pixel has bit 0 cleared.
void finishRegion(const QxJob& job, KeepCutRegion& region);

// Bit 0 of auxPixels back into bit 0 of maskPixels over the rectangle.
void restoreMarkBits(const QxJob& job);

// cv::rectangle outline on a plane, colour 255; the thickness is taken in
// 64 bits and kept to what the drawing accepts (a thicker outline than that
// would fill any plane the library can make anyway); below 0 it fills.
void paintFrame(Plane& plane, long long thickness);

void fullSizeTilePath(const QxJob& job);
void halfSizeTilePath(const QxJob& job);

}  // namespace qx
