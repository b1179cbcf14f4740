// The two tile roads of keep/cut to alpha: the whole rectangle at full size,
// or a half-size copy brought back by colour-guided doubling.
#include <opencv2/core.hpp>

#include "frame/progress.h"
#include "selection/keep_cut_region.h"
#include "selection/pyramid_hold.h"

namespace qx {

namespace {

TileJob tilesOver(Plane& fixedMap, Plane& mask, Plane* const planes[3], unsigned char* outData, int outStep) {
    TileJob tiles;
    tiles.fixedData = fixedMap.pixels;
    tiles.fixedStep = fixedMap.step;
    tiles.maskData = mask.pixels;
    tiles.maskStep = mask.step;
    for (int c = 0; c < 3; ++c) tiles.planeData[c] = planes[c]->pixels;
    tiles.planeStep = planes[0]->step;
    tiles.outData = outData;
    tiles.outStep = outStep;
    tiles.width = mask.width;
    tiles.height = mask.height;
    return tiles;
}

}  // namespace

void fullSizeTilePath(const QxJob& job) {
    startProgress(job.progressCallback, job.progressCookie, 20000, 0, 10);
    KeepCutRegion region(job);
    takeMarks(region);
    if (job.roiBorder != 0) {
        // The frame of an edited rectangle is boundary, except where the
        // user's unknown band crosses it: that stays to be solved.
        paintFrame(region.fixedMap, 4LL * job.roiBorder + 3);
#pragma omp parallel for schedule(static)
        for (int y = 0; y < region.height; ++y) {
            const unsigned char* a = pixelAt(job.auxPixels, job.auxStep, job.roiX, job.roiY + y);
            unsigned char* f = region.fixedMap.row(y);
            for (int x = 0; x < region.width; ++x)
                if (a[x] == 0x7E) f[x] = 0;
        }
    } else {
        requireSolvable(region.fixedMap, region.mask, region);
    }
    TileJob tiles = tilesOver(region.fixedMap, region.mask, region.planes,
                              pixelAt(job.outPixels, job.outStep, job.roiX, job.roiY, 4), job.outStep);
    solveTileTree(tiles, 20000);
    finishRegion(job, region);
}

void halfSizeTilePath(const QxJob& job) {
    startProgress(job.progressCallback, job.progressCookie, 20000, 0, 10);
    KeepCutRegion region(job);
    takeMarks(region);
    PyramidHold hold;
    ImagePyramid& pyramid = hold.pyramid;
    buildPyramid(pyramid, region.planes, &region.fixedMap, &region.mask, 1);
    Plane& levelFixed = *pyramid.guides[1];
    Plane& levelMask = *pyramid.masks[1];
    Plane* const levelPlanes[3] = {pyramid.planes[0][1], pyramid.planes[1][1], pyramid.planes[2][1]};
    const int hw = levelMask.width, hh = levelMask.height;
    if (job.roiBorder != 0)
        paintFrame(levelFixed, 2LL * job.roiBorder + 1);
    else
        requireSolvable(levelFixed, levelMask, region);

    // The tree carries a 4-byte image of the level's size; a level as high as
    // the region (a single row) shares the host's.
    cv::Mat levelOut;
    unsigned char* outData = pixelAt(job.outPixels, job.outStep, job.roiX, job.roiY, 4);
    int outStep = job.outStep;
    if (hh != region.height) {
        levelOut = cv::Mat::zeros(hh, hw, CV_8UC4);
        for (int c = 0; c < 3; ++c)
            ippiCopy_8u_C1C4R(levelPlanes[c]->pixels, levelPlanes[c]->step, levelOut.data + c,
                              static_cast<int>(levelOut.step), hw, hh);
        outData = levelOut.data;
        outStep = static_cast<int>(levelOut.step);
    }
    TileJob tiles = tilesOver(levelFixed, levelMask, levelPlanes, outData, outStep);
    solveTileTree(tiles, 10000);

    upsampleAllLevels(pyramid);
    // Unreached border lines take their nearest solved line rather than the
    // marks they held; fixed pixels get their marks back just below.
    repairUpsampleBorder(region.mask, 1, 3);
    finishRegion(job, region);
    tickProgress();
}

}  // namespace qx
