// The leaf solves of the tile tree. Each leaf is solved with a margin of
// context and then painted known over its whole padded rectangle, so that
// overlapping neighbours solved later take its alpha as their boundary and
// no seam shows.
#include <algorithm>

#include "frame/progress.h"
#include "matting/matting_system.h"
#include "selection/serial_when_small.h"
#include "selection/tile_tree.h"

namespace qx {

namespace {

constexpr int kMargin = 10;


void solveLeaf(TileJob& job, const TileNode& leaf) {
    if (leaf.x0 < 0 || leaf.y0 < 0 || leaf.x1 < 0 || leaf.y1 < 0 || leaf.x0 >= job.width ||
        leaf.x1 >= job.width || leaf.y0 >= job.height || leaf.y1 >= job.height)
        return;
    const int px0 = std::max(leaf.x0 - kMargin, 0), px1 = std::min(leaf.x1 + kMargin, job.width - 1);
    const int py0 = std::max(leaf.y0 - kMargin, 0), py1 = std::min(leaf.y1 + kMargin, job.height - 1);
    const int w = px1 - px0 + 1, h = py1 - py0 + 1;
    unsigned char* fixed = job.fixedData + static_cast<long long>(py0) * job.fixedStep + px0;
    unsigned char* mask = job.maskData + static_cast<long long>(py0) * job.maskStep + px0;
    unsigned char* planes[3];
    for (int c = 0; c < 3; ++c) planes[c] = job.planeData[c] + static_cast<long long>(py0) * job.planeStep + px0;

    long long unknown = 0;
#pragma omp parallel for schedule(static) reduction(+ : unknown) if (w * h >= kThreadedArea)
    for (int y = 0; y < h; ++y) {
        const unsigned char* f = fixed + static_cast<long long>(y) * job.fixedStep;
        for (int x = 0; x < w; ++x) unknown += (f[x] & 1) == 0;
    }
    if (unknown >= 3) {
        // The solve reads the known pixels from the mask and writes the
        // unknown ones; the defaults of a fresh state are this road's
        // parameters (direct solver, epsilon 1e-7, no stretch, no sharpening).
        MatteState state;
        SerialWhenSmall serial(static_cast<long long>(w) * h);
        try {
            solveMatteWithKnown(state, planes, job.planeStep, w, h, fixed, job.fixedStep, mask, job.maskStep);
        } catch (...) {
            releaseMatteState(state);
            throw;
        }
        releaseMatteState(state);
    }
    tickProgress();
    ippiSet_8u_C1R(255, fixed, job.fixedStep, w, h);  // solved here: known from now on
    tickProgress();
}

void solvePass(TileJob& job, const TileNode& node, int pass) {
    if (node.left) {
        solvePass(job, *node.left, pass);
        solvePass(job, *node.right, pass);
    } else if (node.solvePass == pass) {
        solveLeaf(job, node);
    }
}

}  // namespace

void solveLeaves(TileJob& job) {
    if (!job.root) return;
    solvePass(job, *job.root, 1);  // two-sided tiles first,
    solvePass(job, *job.root, 0);  // then the one-sided ones, bounded by their solved neighbours
}

}  // namespace qx
