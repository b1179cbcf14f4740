#include <algorithm>
#include <cmath>

#include "frame/progress.h"
#include "matting/matting_system.h"
#include "matting/refine_alpha.h"
#include "selection/serial_when_small.h"
#include "selection/solve_local.h"

namespace qx {

namespace {

// A block solve is reckoned at 1940 bytes a pixel of the budget, and never
// beyond 512 pixels a side. A budget that yields a tiny side (0 when the
// memory query failed) would make a block count without meaning and
// divide by zero; 64 pixels a side keep a block's 4-pixel frames a small part
// of it at a memory cost of a few megabytes.
constexpr int kLargestSide = 512;
constexpr int kSmallestSide = 64;
constexpr int kFrame = 4;

int blockSide() {
    const int side = static_cast<int>(std::sqrt(memoryBudgetK() * 1000.0 * 0.0005154639175257732));
    return std::clamp(side, kSmallestSide, kLargestSide);
}

// Count, size and stride of the blocks along one side of n pixels: about a
// tenth of overlap between neighbours.
void blockGrid(int n, int side, int& size, int& stride) {
    const int count = std::max(static_cast<int>(n / (side * 0.9090909090909091) + 0.75), 1);
    size = static_cast<int>(n * 1.1 / count);
    stride = n / count - static_cast<int>(size * 0.1 / count);
    if (n <= side || size >= n) size = stride = n;
    stride = std::max(stride, 1);
}

long long countUnknown(const Plane& fixedMap, int x0, int y0, int w, int h) {
    long long count = 0;
    for (int y = y0; y < y0 + h; ++y) {
        const unsigned char* f = fixedMap.row(y) + x0;
        for (int x = 0; x < w; ++x) count += (f[x] & 1) == 0;
    }
    return count;
}

}  // namespace

void solveBlocks(Plane* const planes[3], Plane& fixedMap, Plane& mask, bool refine) {
    const int w = mask.width, h = mask.height;
    const int side = blockSide();
    int bw, sx, bh, sy;
    blockGrid(w, side, bw, sx);
    blockGrid(h, side, bh, sy);
    Plane blockAlpha(bw, bh), blockKnown(bw, bh);
    const int planeStep = planes[0]->step;

    int x = 0, y = 0;
    for (;;) {
        int left = x == 0 ? 0 : kFrame, top = y == 0 ? 0 : kFrame, right = kFrame, bottom = kFrame;
        if (x + bw >= w) x = w - bw, right = 0;
        if (y + bh >= h) y = h - bh, bottom = 0;
        if (countUnknown(fixedMap, x, y, bw, bh) > 5) {
            const long long offset = static_cast<long long>(y) * planeStep + x;
            unsigned char* blockPlanes[3] = {planes[0]->pixels + offset, planes[1]->pixels + offset,
                                             planes[2]->pixels + offset};
            unsigned char* maskBlock = mask.row(y) + x;
            unsigned char* fixedBlock = fixedMap.row(y) + x;
            ippiCopy_8u_C1R(maskBlock, mask.step, blockAlpha.pixels, blockAlpha.step, bw, bh);
            ippiCopy_8u_C1R(fixedBlock, fixedMap.step, blockKnown.pixels, blockKnown.step, bw, bh);
            // The frame holds to the alpha that the blocks before left.
            ippiSet_8u_C1R(255, blockKnown.pixels, blockKnown.step, bw, top);
            ippiSet_8u_C1R(255, blockKnown.row(bh - bottom), blockKnown.step, bw, bottom);
            ippiSet_8u_C1R(255, blockKnown.pixels, blockKnown.step, left, bh);
            ippiSet_8u_C1R(255, blockKnown.pixels + (bw - right), blockKnown.step, right, bh);

            SerialWhenSmall serial(static_cast<long long>(bw) * bh);
            MatteState state;  // defaults: direct solver, epsilon 1e-7, no stretch, no sharpening
            try {
                solveMatteWithKnown(state, blockPlanes, planeStep, bw, bh, blockKnown.pixels, blockKnown.step,
                                    blockAlpha.pixels, blockAlpha.step);
            } catch (...) {
                releaseMatteState(state);
                throw;
            }
            releaseMatteState(state);
            if (refine) {
                unsigned char* alpha[1] = {blockAlpha.pixels};
                refineAlphaBilateral(bw, bh, alpha, blockAlpha.step, blockPlanes, planeStep, 15.0f);
            }
            tickProgress();
            ippiCopy_8u_C1MR(maskBlock, mask.step, blockAlpha.pixels, blockAlpha.step, bw, bh, fixedBlock,
                             fixedMap.step);
            ippiCopy_8u_C1R(blockAlpha.pixels, blockAlpha.step, maskBlock, mask.step, bw, bh);
        }
        if (x < w - bw) {
            x += sx;
        } else {
            x = 0;
            if (y < h - bh) y += sy;
            else break;
        }
    }
}

}  // namespace qx
