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

// What one pass over a tile learns: its known cut and keep marks, and the
// count and first and second moments of its unknown pixels (fixedMap 0), in
// coordinates from the tile's corner. Integer sums: exact, so the thread
// count cannot change them.
struct TileStats {
    long long cuts = 0, keeps = 0;
    long long count = 0, sumX = 0, sumY = 0, sumXX = 0, sumYY = 0;
};

TileStats scanTile(const TileJob& job, const TileNode& node) {
    long long cuts = 0, keeps = 0, count = 0, sumX = 0, sumY = 0, sumXX = 0, sumYY = 0;
#pragma omp parallel for schedule(static) reduction(+ : cuts, keeps, count, sumX, sumY, sumXX, sumYY) \
    if (worthThreads(node))
    for (int y = node.y0; y <= node.y1; ++y) {
        const unsigned char* f = fixedRow(job, y) + node.x0;
        const unsigned char* m = job.maskData + static_cast<long long>(y) * job.maskStep + node.x0;
        const int w = node.x1 - node.x0 + 1;
        long long rowCount = 0, rowX = 0, rowXX = 0;
        for (int x = 0; x < w; ++x) {
            if (f[x] == 0) {
                ++rowCount, rowX += x, rowXX += static_cast<long long>(x) * x;
            } else if (m[x] < 6) {
                ++cuts;
            } else {
                ++keeps;
            }
        }
        const long long dy = y - node.y0;
        count += rowCount, sumX += rowX, sumXX += rowXX;
        sumY += rowCount * dy, sumYY += rowCount * dy * dy;
    }
    TileStats s;
    s.cuts = cuts, s.keeps = keeps, s.count = count, s.sumX = sumX, s.sumY = sumY, s.sumXX = sumXX, s.sumYY = sumYY;
    return s;
}

bool tooSmall(const TileNode& node) {
    return std::min(node.x1 - node.x0 + 1, node.y1 - node.y0 + 1) < kShortestSide;
}

int classOf(const TileNode& node, const TileStats& s) {
    if (tooSmall(node)) return 4;
    if (s.keeps == 0) return 2;
    return s.cuts == 0 ? 1 : 0;
}

// Sum over the unknown pixels of (v - c)^2 from the moments about the tile's
// corner, v and c both in those coordinates.
long long spreadAbout(long long c, long long count, long long sum, long long sumSquares) {
    return sumSquares - 2 * c * sum + count * c * c;
}

// Centroid of the unknown pixels (the truncated mean in image coordinates)
// and the direction of the cut. The spreads come from the moments rather
// than a second pass: the same integers, so the same cut. False when the
// tile has no unknown pixel.
bool findCut(TileNode& node, const TileStats& s) {
    if (s.count == 0) return false;
    const double inverse = 1.0 / static_cast<double>(s.count);
    node.centreX = static_cast<int>(static_cast<double>(s.sumX + s.count * node.x0) * inverse);
    node.centreY = static_cast<int>(static_cast<double>(s.sumY + s.count * node.y0) * inverse);
    const long long sxx = spreadAbout(node.centreX - node.x0, s.count, s.sumX, s.sumXX);
    const long long syy = spreadAbout(node.centreY - node.y0, s.count, s.sumY, s.sumYY);
    node.splitRows = sxx > syy ? 0 : 1;  // the cut runs across the longer spread
    return true;
}

void makeLeaf(TileJob& job, TileNode& node, int pass) {
    node.left.reset();
    node.right.reset();
    node.solvePass = pass;
    ++job.leafCount;
}

// The stats of the node come from the pass that classified it.
void split(TileJob& job, TileNode& node, const TileStats& stats) {
    // A tile without unknown pixels has nothing to split: it stays a leaf,
    // which the solve then passes over.
    if (!findCut(node, stats)) return makeLeaf(job, node, 0);
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

    // A child too small to be a tile (class 4) merges the pair whatever the
    // other holds, so neither needs a scan.
    if (tooSmall(a) || tooSmall(b)) return makeLeaf(job, node, 1);
    const TileStats statsA = scanTile(job, a), statsB = scanTile(job, b);
    const int classA = classOf(a, statsA), classB = classOf(b, statsB);
    if (classA + classB == 3) return makeLeaf(job, node, 1);
    if (classA == 0) split(job, a, statsA);
    else makeLeaf(job, a, 0);
    if (classB == 0) split(job, b, statsB);
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
    return tooSmall(node) ? 4 : classOf(node, scanTile(job, node));
}

void buildTileTree(TileJob& job) {
    job.leafCount = 0;
    job.root = std::make_unique<TileNode>();
    TileNode& root = *job.root;
    root.x0 = 0, root.x1 = job.width - 1, root.y0 = 0, root.y1 = job.height - 1;
    placeNode(job, root);
    split(job, root, scanTile(job, root));
}

void checkLeaves(const TileJob& job) {
    if (job.root) checkNode(job, *job.root);
}

}  // namespace qx
