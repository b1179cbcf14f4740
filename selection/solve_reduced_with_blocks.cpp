#include <algorithm>

#include "frame/progress.h"
#include "frame/status.h"
#include "matting/matting_system.h"
#include "matting/refine_alpha.h"
#include "selection/pyramid_hold.h"
#include "selection/solve_local.h"

namespace qx {

namespace {

long long countUnknown(const Plane& fixedMap) {
    long long count = 0;
#pragma omp parallel for schedule(static) reduction(+ : count)
    for (int y = 0; y < fixedMap.height; ++y) {
        const unsigned char* f = fixedMap.row(y);
        for (int x = 0; x < fixedMap.width; ++x) count += (f[x] & 1) == 0;
    }
    return count;
}

// Memory estimate of a solve: 1200 bytes a pixel, 1944 an unknown pixel.
int halvingsFor(const Plane& fixedMap, long long unknown) {
    const double area = double(fixedMap.width) * double(fixedMap.height);
    const double need = std::max(area * 1200.0, double(unknown) * 1944.0);
    const double ratio = need / (memoryBudgetK() * 1000.0);  // a budget of 0 gives infinity: 3 halvings
    if (ratio <= 1.0) return 0;
    if (ratio <= 4.0) return 1;
    if (ratio <= 8.0) return 2;
    return 3;
}

}  // namespace

int solveReducedWithBlocks(Plane& fixedMap, Plane* const planes[3], Plane& mask) {
    const int halvings = halvingsFor(fixedMap, countUnknown(fixedMap));
    progressTotal = 10000;
    progressStep = halvings == 0 ? 1428 : 1;
    PyramidHold hold;
    ImagePyramid& pyramid = hold.pyramid;
    buildPyramid(pyramid, planes, &fixedMap, &mask, halvings);

    Plane& coarseFixed = *pyramid.guides[halvings];
    Plane& coarseMask = *pyramid.masks[halvings];
    const long long unknown = countUnknown(coarseFixed);
    if (unknown < 3) return 1;
    if (static_cast<long long>(coarseFixed.width) * coarseFixed.height - unknown < 1) return kMarksUnsolvable;

    unsigned char* coarsePlanes[3] = {pyramid.planes[0][halvings]->pixels, pyramid.planes[1][halvings]->pixels,
                                      pyramid.planes[2][halvings]->pixels};
    const int planeStep = pyramid.planes[0][halvings]->step;
    MatteState state;  // defaults: direct solver, epsilon 1e-7, no stretch, no sharpening
    try {
        solveMatteWithKnown(state, coarsePlanes, planeStep, coarseMask.width, coarseMask.height, coarseFixed.pixels,
                            coarseFixed.step, coarseMask.pixels, coarseMask.step);
    } catch (...) {
        releaseMatteState(state);
        throw;
    }
    releaseMatteState(state);
    unsigned char* alpha[1] = {coarseMask.pixels};
    refineAlphaBilateral(coarseMask.width, coarseMask.height, alpha, coarseMask.step, coarsePlanes, planeStep, 15.0f);

    if (halvings == 1) {
        upsampleAllLevels(pyramid);
        solveBlocks(planes, fixedMap, mask, true);
    } else if (halvings >= 2) {
        for (int level = halvings; level >= 2; --level) upsampleLevel(pyramid, level);
        Plane* const finer[3] = {pyramid.planes[0][1], pyramid.planes[1][1], pyramid.planes[2][1]};
        solveBlocks(finer, *pyramid.guides[1], *pyramid.masks[1], true);
        upsampleLevel(pyramid, 1);
        // The lines the doubling leaves unreached take their nearest solved line.
        repairUpsampleBorder(mask, 1, 3);
    }
    return 1;
}

}  // namespace qx
