// Steps shared by the two foreground exports: reduce the region, solve the
// reduced copy tile by tile, enlarge the result with detail from the green
// channel, restore definite pixels, fade into the output and copy it out.
#pragma once

#include <climits>

#include <opencv2/core.hpp>

#include "frame/image_buffer.h"
#include "qxmatte.h"

namespace qx {

// double to int by truncation; out of range (or NaN) gives INT_MIN, as the
// hardware conversion does, so that the "at least 1" and "negative becomes 0"
// rules below see what they would see there.
inline int truncToInt(double v) {
    if (!(v > -2147483649.0 && v < 2147483648.0)) return INT_MIN;
    return static_cast<int>(v);
}

// What a job allows, checked before any buffer is made: refused (no job, a
// negative size, a region reaching outside the image, a missing plane or a
// step shorter than a row), empty (a region of no pixels: nothing to do) or
// workable.
enum class RegionCheck { refused, empty, workable };
RegionCheck checkRegion(const QxJob* job, bool readsAux);

// The cell's working scale: 0.18 with roiBorder 0, else by the area of the
// whole image (in 64 bits).
float cellScale(int roiBorder, int width, int height);

// The region reduced by a scale: width by height pixels.
struct ReducedRegion {
    int width;
    int height;
    GIMG<unsigned char> image;      // four bytes a pixel (width * 4 bytes a row); byte 3 unused
    GIMG<unsigned char> alpha;
    GIMG<unsigned char> planes[3];  // colour bytes 0, 1, 2 of image
    GIMG<unsigned char> result;     // four bytes a pixel, foreground colours tile by tile

    ReducedRegion(int w, int h);
};

// Fills small from the job's region: image and alpha resized (cubic, taps may
// read just outside the region), planes split. result starts as a copy of the
// reduced image, so that pixels no tile writes hold the source colour.
void reduceRegion(const QxJob& job, float scale, ReducedRegion& small);

struct TileGrid {
    int tilesX, tilesY;
    int tileWidth, tileHeight;
    int tileStepX, tileStepY;
    int tileMarginX, tileMarginY;
};

// How a driver lays its tiles: side cap, the share of a tile that a step
// covers, the tile's spread over the step and the overlap taken off the step.
struct TileGridRule {
    int sideCap;
    double sideShare;
    double spread;
    double overlap;
};
constexpr TileGridRule kForegroundGridRule{384, 0.6666666666666666, 1.5, 0.5};
constexpr TileGridRule kCellGridRule{100, 0.970873786407767, 1.03, 0.03};

// Tiles over a width by height reduced image with a memory budget in units of
// 1300 bytes (about 2522 bytes of working memory per tile pixel). A count
// drops to 1 where one tile spans its axis; the cell's progress step reads it.
TileGrid tileGrid(int width, int height, int budgetK, const TileGridRule& rule);

// Pixels of a one-byte plane with an even value in 6..248.
int countEvenUnknown(const unsigned char* pixels, int step, int width, int height);

struct TileLoopRule {
    bool evenUnknownTest;  // true: countEvenUnknown; false: any alpha in 11..249
    int ring;              // pixels of the tile's outer ring not copied back
    bool guardSolve;       // failures of the tile solve end the loop with a value
};
constexpr TileLoopRule kForegroundLoopRule{false, 0, true};
constexpr TileLoopRule kCellLoopRule{true, 1, false};

// Solves the tiles that need it, in scan order, into small.result. Returns
// true, or false with the value of a guarded tile solve's failure in failure.
bool solveTiles(const TileGrid& grid, ReducedRegion& small, const TileLoopRule& rule, int& failure);

// upImage (region size, four bytes a pixel) gets the enlarged result; where
// the job's alpha lies in 11..249 the green channel's detail is added to all
// three colours. small null: the region reduced to nothing, and upImage gets
// the source pixels (no detail, nothing to enlarge).
void enlargeWithDetail(const QxJob& job, const ReducedRegion* small, float scale, GIMG<unsigned char>& upImage);

// The source pixel where the job's alpha is at least upperThreshold or at most 4.
void restoreDefinite(const QxJob& job, int upperThreshold, GIMG<unsigned char>& upImage);

// upImage = (1 - T) * out + T * upImage per colour byte, T from the region-size
// float plane weights.
void blendWithOutput(const QxJob& job, const cv::Mat& weights, GIMG<unsigned char>& upImage);

// The linear ramp over 64 pixels at the region's edges.
cv::Mat edgeRampPlane(int width, int height);
// The cell's taper enlarged to width by height (Lanczos, overshoot kept).
cv::Mat cellTaperPlane(int width, int height);

// Colour bytes of upImage less a frame of that many pixels into outPixels.
void copyToOutput(const QxJob& job, const GIMG<unsigned char>& upImage, int frame);

}  // namespace qx
