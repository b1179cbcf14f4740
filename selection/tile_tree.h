// The tile tree of the keep/cut paths: the region is bisected along the
// spread of its unknown pixels until each piece is one-sided or too small,
// and the leaves are solved one after another, each solved tile counting as
// known boundary for the tiles after it.
#pragma once

#include <memory>

namespace qx {

struct TileNode {
    unsigned char* plane[3] = {};          // first pixel of the tile in each colour plane
    unsigned char* outPixel = nullptr;     // first pixel in the 4-byte image
    unsigned char* fixedPixel = nullptr;   // first pixel in fixedMap
    unsigned char* maskPixel = nullptr;    // first pixel in the working mask
    int centreX = -1, centreY = -1;        // centroid of the tile's unknown pixels
    int splitRows = -1;                    // 1: cut along a row, 0: along a column
    int x0 = -1, x1 = -1, y0 = -1, y1 = -1;  // inclusive bounds in the tiled area
    std::unique_ptr<TileNode> left, right;   // children, null in a leaf
    int solvePass = 0;                     // 1 for a leaf made by merging two children
};

// One per call. (Each leaf solve makes its own MatteState, so the job holds none.)
struct TileJob {
    unsigned char* fixedData = nullptr;    // fixedMap: 0xFF known, 0 unknown
    int fixedStep = 0;
    unsigned char* maskData = nullptr;     // working mask: known values in, alpha out
    int maskStep = 0;
    unsigned char* planeData[3] = {};      // colour planes, one row step
    int planeStep = 0;
    unsigned char* outData = nullptr;      // 4-byte image, carried along, not read by the solve
    int outStep = 0;
    int width = 0, height = 0;             // size of the tiled area
    std::unique_ptr<TileNode> root;
    int leafCount = 0;
};

// Below this many pixels a count over a tile runs on the calling thread: the
// tree has thousands of tiles, and waking the team for each costs more than
// the count (on a busy machine a wake can wait a whole time slice). The
// counts are integer sums, the same either way.
constexpr long long kThreadedArea = 1 << 20;
inline bool worthThreads(const TileNode& n) {
    return static_cast<long long>(n.x1 - n.x0 + 1) * (n.y1 - n.y0 + 1) >= kThreadedArea;
}

// Classes of a child: 0 two-sided, 1 keep marks only, 2 cut marks only (or
// none), 4 too small to be worth a tile (shorter side below 12).
int classify(const TileJob& job, const TileNode& node);

// Builds the tree over the whole area and counts its leaves.
void buildTileTree(TileJob& job);

// Throws -1 when a leaf holds more than 500000 unknown pixels.
void checkLeaves(const TileJob& job);

// Solves the merged leaves (solvePass 1), then the one-sided ones, in tree
// order, two progress ticks a leaf.
void solveLeaves(TileJob& job);

}  // namespace qx
