// A pyramid of up to three halvings over three planes and two mask chains,
// for the tools that go down more than one level and come back by
// colour-guided doubling (sigma 9 on this road).
#include <algorithm>

#include "matting/joint_upsample.h"

namespace qx {

void initPyramid(ImagePyramid& pyramid) {
    pyramid.levels = -1;
    for (int l = 0; l < 4; ++l) {
        for (int c = 0; c < 3; ++c) pyramid.planes[c][l] = nullptr;
        pyramid.guides[l] = nullptr;
        pyramid.masks[l] = nullptr;
    }
}

// Level 0 belongs to the caller; only the reduced levels are deleted.
void releasePyramid(ImagePyramid& pyramid) {
    auto drop = [](Plane*& image, bool owned) {
        Plane* p = image;
        image = nullptr;
        if (owned) delete p;
    };
    for (int l = 0; l < 4; ++l) {
        for (int c = 0; c < 3; ++c) drop(pyramid.planes[c][l], l > 0);
        drop(pyramid.guides[l], l > 0);
        drop(pyramid.masks[l], l > 0);
    }
}

int buildPyramid(ImagePyramid& pyramid, Plane* const planes[3], Plane* guide, Plane* mask, int levels) {
    if (levels > 3) return 1;
    pyramid.levels = levels;
    releasePyramid(pyramid);
    for (int c = 0; c < 3; ++c) pyramid.planes[c][0] = planes[c];
    pyramid.guides[0] = guide;
    pyramid.masks[0] = mask;
    for (int l = 0; l < levels; ++l) {
        const int width = pyramid.masks[l]->width, height = pyramid.masks[l]->height;
        // An odd size rounds up; the extra column or row repeats its neighbour.
        const int padRight = width & 1, padBottom = height & 1;
        const int nextWidth = width / 2 + padRight, nextHeight = height / 2 + padBottom;
        for (int c = 0; c < 3; ++c) {
            pyramid.planes[c][l + 1] = new Plane(nextWidth, nextHeight);
            reduceHalf(*pyramid.planes[c][l], *pyramid.planes[c][l + 1], true);
            padImageEdges(*pyramid.planes[c][l + 1], 0, 0, padRight, padBottom);
        }
        for (Plane** chain : {pyramid.guides, pyramid.masks}) {
            if (!chain[l]) continue;
            chain[l + 1] = new Plane(nextWidth, nextHeight);
            decimateTwo(*chain[l], *chain[l + 1], 0, 0);
            padImageEdges(*chain[l + 1], 0, 0, padRight, padBottom);
        }
    }
    return 1;
}

void upsampleLevel(ImagePyramid& pyramid, int level) {
    level = std::min(level, pyramid.levels);
    if (level < 1) return;
    Plane* const finer[3] = {pyramid.planes[0][level - 1], pyramid.planes[1][level - 1], pyramid.planes[2][level - 1]};
    // levels is at most 3 (buildPyramid), so masks[level] is in bounds.
    // cppcheck-suppress arrayIndexOutOfBoundsCond
    jointUpsample(&pyramid.masks[level], &pyramid.masks[level - 1], finer, 9.0f);
}

void upsampleAllLevels(ImagePyramid& pyramid) {
    for (int level = pyramid.levels; level >= 1; --level) upsampleLevel(pyramid, level);
}

}  // namespace qx
