#include "selection/tile_tree.h"

#include <algorithm>

#include "frame/status.h"

namespace qx {

namespace {

constexpr int kShortestSide = 12;         // below this a tile is not worth a solve
constexpr long long kMostLeafUnknown = 500000;

void placeNode(const TileJob& job, TileNode& node) {
    const long long planeOffset = static_cast<long long>(node.y0) * job.planeStep + node.x0;
    for (int c = 0; c < 3; ++c) node.plane[c] = job.planeData[c] + planeOffset;
    node.outPixel = job.outData ? job.outData + static_cast<long long>(node.y0) * job.outStep + 4LL * node.x0
                                : nullptr;
    node.fixedPixel = job.fixedData + static_cast<long long>(node.y0) * job.fixedStep + node.x0;
    node.maskPixel = job.maskData + static_cast<long long>(node.y0) * job.maskStep + node.x0;
}

const unsigned char* fixedRow(const TileJob& job, int y) {
    return job.fixedData + static_cast<long long>(y) * job.fixedStep;
}

long long countUnknown(const TileJob& job, const TileNode& node) {
    long long count = 0;
#pragma omp parallel for schedule(static) reduction(+ : count) if (worthThreads(node))
    for (int y = node.y0; y <= node.y1; ++y) {
        const unsigned char* f = fixedRow(job, y);
        for (int x = node.x0; x <= node.x1; ++x) count += (f[x] & 1) == 0;
    }
    return count;
}

// Centroid of the unknown pixels and the direction of the cut. The sums are
// of integers, exact in doubles at any image size, so the thread count
// cannot change them. False when the tile has no unknown pixel.
bool findCut(const TileJob& job, TileNode& node) {
    double sumX = 0.0, sumY = 0.0, count = 0.0;
#pragma omp parallel for schedule(static) reduction(+ : sumX, sumY, count) if (worthThreads(node))
    for (int y = node.y0; y <= node.y1; ++y) {
        const unsigned char* f = fixedRow(job, y);
        for (int x = node.x0; x <= node.x1; ++x)
            if (f[x] == 0) sumX += x, sumY += y, count += 1.0;
    }
    if (count == 0.0) return false;
    node.centreX = static_cast<int>(sumX * (1.0 / count));
    node.centreY = static_cast<int>(sumY * (1.0 / count));
    const int cx = node.centreX, cy = node.centreY;
    double sxx = 0.0, syy = 0.0;
#pragma omp parallel for schedule(static) reduction(+ : sxx, syy) if (worthThreads(node))
    for (int y = node.y0; y <= node.y1; ++y) {
        const unsigned char* f = fixedRow(job, y);
        const double dy2 = double(y - cy) * double(y - cy);
        for (int x = node.x0; x <= node.x1; ++x)
            if (f[x] == 0) sxx += double(x - cx) * double(x - cx), syy += dy2;
    }
    node.splitRows = sxx > syy ? 0 : 1;  // the cut runs across the longer spread
    return true;
}

void makeLeaf(TileJob& job, TileNode& node, int pass) {
    node.left.reset();
    node.right.reset();
    node.solvePass = pass;
    ++job.leafCount;
}

void split(TileJob& job, TileNode& node) {
    // A tile without unknown pixels has nothing to split: it stays a leaf,
    // which the solve then passes over.
    if (!findCut(job, node)) return makeLeaf(job, node, 0);
    node.left = std::make_unique<TileNode>();
    node.right = std::make_unique<TileNode>();
    TileNode& a = *node.left;
    TileNode& b = *node.right;
    a.x0 = b.x0 = node.x0, a.x1 = b.x1 = node.x1;
    a.y0 = b.y0 = node.y0, a.y1 = b.y1 = node.y1;
    if (node.splitRows == 1)
        a.y1 = b.y0 = node.centreY;  // the cut line belongs to both children
    else
        a.x1 = b.x0 = node.centreX;
    placeNode(job, a);
    placeNode(job, b);

    const int classA = classify(job, a), classB = classify(job, b);
    if (classA == 4 || classB == 4 || classA + classB == 3) return makeLeaf(job, node, 1);
    if (classA == 0) split(job, a);
    else makeLeaf(job, a, 0);
    if (classB == 0) split(job, b);
    else makeLeaf(job, b, 0);
}

void checkNode(const TileJob& job, const TileNode& node) {
    if (node.left) {
        checkNode(job, *node.left);
        checkNode(job, *node.right);
        return;
    }
    if (countUnknown(job, node) > kMostLeafUnknown) throw static_cast<int>(kSystemTooLarge);
}

}  // namespace

int classify(const TileJob& job, const TileNode& node) {
    const int w = node.x1 - node.x0 + 1, h = node.y1 - node.y0 + 1;
    if (std::min(w, h) < kShortestSide) return 4;
    long long cuts = 0, keeps = 0;
#pragma omp parallel for schedule(static) reduction(+ : cuts, keeps) if (worthThreads(node))
    for (int y = node.y0; y <= node.y1; ++y) {
        const unsigned char* f = fixedRow(job, y);
        const unsigned char* m = job.maskData + static_cast<long long>(y) * job.maskStep;
        for (int x = node.x0; x <= node.x1; ++x) {
            if (f[x] == 0) continue;
            if (m[x] < 6) ++cuts;
            else ++keeps;
        }
    }
    if (keeps == 0) return 2;
    return cuts == 0 ? 1 : 0;
}

void buildTileTree(TileJob& job) {
    job.leafCount = 0;
    job.root = std::make_unique<TileNode>();
    TileNode& root = *job.root;
    root.x0 = 0, root.x1 = job.width - 1, root.y0 = 0, root.y1 = job.height - 1;
    placeNode(job, root);
    split(job, root);
}

void checkLeaves(const TileJob& job) {
    if (job.root) checkNode(job, *job.root);
}

}  // namespace qx
