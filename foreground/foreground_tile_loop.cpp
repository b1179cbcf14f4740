// The tile loop of the foreground solve over the reduced region.
#include "foreground/foreground_driver.h"
#include "foreground/foreground_tile.h"
#include "frame/export_frame.h"
#include "frame/progress.h"

namespace qx {

namespace {

// Ticks that one successful recoverForegroundTile gives.
constexpr int kTileTicks = 15;

// Any alpha in 11..249, from two comparisons and two sums.
bool hasSoftAlpha(const GIMG<unsigned char>& tileAlpha, GIMG<unsigned char>& high, GIMG<unsigned char>& low) {
    const int w = tileAlpha.width, h = tileAlpha.height;
    ippiCompareC_8u_C1R(tileAlpha.pixels, tileAlpha.step, 250, high.pixels, high.step, w, h, ippCmpGreaterEq);
    ippiCompareC_8u_C1R(tileAlpha.pixels, tileAlpha.step, 10, low.pixels, low.step, w, h, ippCmpLessEq);
    double sumHigh = 0.0, sumLow = 0.0;
    ippiSum_8u_C1R(high.pixels, high.step, w, h, &sumHigh);
    ippiSum_8u_C1R(low.pixels, low.step, w, h, &sumLow);
    return w * h - (sumHigh + sumLow) * 0.00392156862745098 > 0.0;
}

}  // namespace

bool solveTiles(const TileGrid& grid, ReducedRegion& small, const TileLoopRule& rule, int& failure) {
    const int W = small.width, H = small.height;
    const int tw = grid.tileWidth, th = grid.tileHeight;
    GIMG<unsigned char> tilePlaneImages[3] = {GIMG<unsigned char>(tw, th), GIMG<unsigned char>(tw, th),
                                              GIMG<unsigned char>(tw, th)};
    GIMG<unsigned char>* const tilePlanes[3] = {&tilePlaneImages[0], &tilePlaneImages[1], &tilePlaneImages[2]};
    GIMG<unsigned char> high(tw, th), low(tw, th);
    // A tile too small to step over would hold the loop in place.
    const int stepX = grid.tileStepX > 0 ? grid.tileStepX : 1;
    const int stepY = grid.tileStepY > 0 ? grid.tileStepY : 1;

    int tileX = 0, tileY = 0;
    bool lastColumn = false, lastRow = false;
    // The loop visits a single tile, and the first tile of a single column,
    // twice at the same place. The second solve would take the same inputs
    // afresh and give the same result, which tilePlanes still hold: it is
    // skipped, with its ticks given all the same.
    int solvedX = -1, solvedY = -1;
    for (;;) {
        tickProgress();
        GIMG<unsigned char> tileAlpha(tw, th, small.alpha.row(tileY) + tileX, small.alpha.step);
        const bool needed = rule.evenUnknownTest
                                ? countEvenUnknown(tileAlpha.pixels, tileAlpha.step, tw, th) != 0
                                : hasSoftAlpha(tileAlpha, high, low);
        if (needed) {
            if (tileX == solvedX && tileY == solvedY) {
                for (int i = 0; i < kTileTicks; ++i) tickProgress();
            } else {
                for (int c = 0; c < 3; ++c)
                    ippiCopy_8u_C1R(small.planes[c].row(tileY) + tileX, small.planes[c].step, tilePlanes[c]->pixels,
                                    tilePlanes[c]->step, tw, th);
                int status = 0;
                if (rule.guardSolve) {
                    bool returned = false;
                    const int value = runExport(kForegroundTileColumn, [&] {
                        const int s = recoverForegroundTile(tilePlanes, tileAlpha);
                        returned = true;
                        return s;
                    });
                    if (!returned) {
                        failure = value;
                        return false;
                    }
                    status = value;
                } else {
                    status = recoverForegroundTile(tilePlanes, tileAlpha);
                }
                // A failed product (10) leaves source colours in the planes;
                // they are copied back as they are, but not reused.
                solvedX = status == 0 ? tileX : -1;
                solvedY = status == 0 ? tileY : -1;
            }
            const int left = (tileX == 0 ? 0 : grid.tileMarginX) + rule.ring;
            const int right = (tileX == W - tw ? 0 : grid.tileMarginX) + rule.ring;
            const int top = (tileY == 0 ? 0 : grid.tileMarginY) + rule.ring;
            const int bottom = (tileY == H - th ? 0 : grid.tileMarginY) + rule.ring;
            const int cw = tw - left - right, ch = th - top - bottom;
            if (cw > 0 && ch > 0)
                for (int c = 0; c < 3; ++c)
                    ippiCopy_8u_C1C4R(tilePlanes[c]->row(top) + left, tilePlanes[c]->step,
                                      small.result.row(tileY + top) + (tileX + left) * 4 + c, small.result.step, cw,
                                      ch);
        }
        if (lastColumn && lastRow) break;
        tileX += stepX;
        if (lastColumn) {
            tileY += stepY;
            tileX = 0;
            lastColumn = false;
        }
        if (W - tileX <= tw) {
            tileX = W - tw;
            lastColumn = true;
        }
        if (H - tileY <= th) {
            tileY = H - th;
            lastRow = true;
        }
    }
    return true;
}

}  // namespace qx
