// Tile layout of the reduced region for the foreground solve.
#include <cmath>

#include "foreground/foreground_driver.h"

namespace qx {

TileGrid tileGrid(int width, int height, int budgetK, const TileGridRule& rule) {
    // 1/1940: a tile pixel reckoned at 2522 bytes, the budget counting 1300.
    int side = truncToInt(std::sqrt(budgetK * 1000.0 * 0.0005154639175257732));
    if (side > rule.sideCap) side = rule.sideCap;

    TileGrid g;
    g.tilesX = truncToInt(width / (side * rule.sideShare) + 0.75);
    g.tilesY = truncToInt(height / (side * rule.sideShare) + 0.75);
    if (g.tilesX < 1) g.tilesX = 1;
    if (g.tilesY < 1) g.tilesY = 1;
    g.tileWidth = truncToInt(width * rule.spread / g.tilesX);
    g.tileHeight = truncToInt(height * rule.spread / g.tilesY);
    g.tileStepX = width / g.tilesX - truncToInt(g.tileWidth * rule.overlap / g.tilesX);
    g.tileStepY = height / g.tilesY - truncToInt(g.tileHeight * rule.overlap / g.tilesY);
    if (width <= side || g.tileWidth >= width) {
        g.tilesX = 1;
        g.tileWidth = g.tileStepX = width;
    }
    if (height <= side || g.tileHeight >= height) {
        g.tilesY = 1;
        g.tileHeight = g.tileStepY = height;
    }
    g.tileMarginX = (g.tileWidth - g.tileStepX) / 4;
    g.tileMarginY = (g.tileHeight - g.tileStepY) / 4;
    return g;
}

}  // namespace qx
