#include "matting/solve_matte.h"

#include <cstdlib>

#include "frame/progress.h"
#include "frame/status.h"
#include "matting/matting_system.h"
#include "matting/refine_alpha.h"

namespace qx {

namespace {

constexpr long long kFewestPixels = 10;
constexpr long long kMostPixels = 25000000;

}  // namespace

int solveMatte(GIMG<unsigned char>* const planes[3], GIMG<unsigned char>& mask, int inHigh, int inLow,
               int outHigh, int outLow) {
    unsigned char* planePixels[3] = {planes[0]->pixels, planes[1]->pixels, planes[2]->pixels};
    const int width = planes[0]->width;
    const int height = planes[0]->height;
    const int planeStep = planes[0]->step;

    MatteState state;
    state.useDirectSolver = 1;
    state.epsilon = 1e-07;
    state.inHigh = static_cast<unsigned char>(inHigh);
    state.inLow = static_cast<unsigned char>(inLow);
    state.sharpenGain = 3.0f;
    try {
        conditionAndSolve(state, planePixels, planeStep, width, height, mask.pixels, mask.step);
        tickProgress();
    } catch (...) {
        releaseMatteState(state);
        throw;
    }
    releaseMatteState(state);

    unsigned char* alphaPixels[1] = {mask.pixels};
    refineAlphaBilateral(width, height, alphaPixels, mask.step, planePixels, planeStep, 10.0f);
    tickProgress();

    // Output stretch: (v - outLow) * 255 / range in 8-bit fixed point, 16320 = 255 * 64.
    // The difference in 64 bits: any two ints from the host are valid bounds.
    long long range = static_cast<long long>(outHigh) - outLow;
    if (range < 1) range = 1;
    if (range < 255) {
        ippiSubC_8u_C1IRSfs(static_cast<Ipp8u>(outLow), mask.pixels, mask.step, mask.width, mask.height, 0);
        int multiplier = static_cast<int>(16320 / range);
        if (multiplier > 255) multiplier = 255;
        mask.status = ippiMulC_8u_C1IRSfs(static_cast<Ipp8u>(multiplier), mask.pixels, mask.step, mask.width,
                                          mask.height, 6);
    }
    return 1;
}

int conditionAndSolve(MatteState& state, unsigned char* const planePixels[3], int planeStep, int width, int height,
                      unsigned char* maskPixels, int maskStep) {
    GIMG<unsigned char> mask(width, height, maskPixels, maskStep);
    GIMG<unsigned char> work(width, height);
    copyImage(mask, work);
    // Statuses 2 and 4 leave the (stretched) marks in work; they are sharpened all the same.
    solveMatteFromMarks(state, planePixels, planeStep, width, height, work);
    tickProgress();
    if (state.sharpenGain > 0.2f) sharpenAlpha(state, work);
    copyImage(work, mask);
    return 0;
}

int solveMatteFromMarks(MatteState& state, unsigned char* const planePixels[3], int planeStep, int width,
                        int height, GIMG<unsigned char>& work) {
    const long long pixelCount = static_cast<long long>(width) * height;
    if (pixelCount < kFewestPixels || pixelCount > kMostPixels) return 2;

    GIMG<unsigned char> knownMask(width, height);
    GIMG<unsigned char> solveMask(width, height);
    splitMarks(state, work, knownMask, solveMask);
    tickProgress();
    copyImage(knownMask, solveMask);
    erodeKnown(solveMask);
    // Every pixel left open here becomes a variable (the second erosion only
    // adds some), so a system over the limit is refused now, before its
    // window affinities take hundreds of megabytes.
    long long open = 0;
    for (int y = 0; y < height; ++y) {
        const unsigned char* row = solveMask.row(y);
        for (int x = 0; x < width; ++x) open += row[x] == 0;
    }
    if (open > kVariableLimit) failMatte(state, kSystemTooLarge);

    int count = 0;
    int status = buildWindowAffinities(state, solveMask, planePixels, planeStep, count);
    if (status != 0) return status;
    tickProgress();
    status = assembleAndSolve(state, width, height, count, knownMask, solveMask, work);
    if (status != 0) return status;
    tickProgress();
    writeSolvedAlpha(state, width, height, knownMask, solveMask, work);
    releaseArray(state.solution);
    return 0;
}

}  // namespace qx
