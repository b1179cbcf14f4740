// The border that colour-guided doubling leaves unreached.
#include <cstring>

#include "matting/joint_upsample.h"

namespace qx {

namespace {

void copyRow(Plane& image, int from, int to) {
    if (from >= 0 && from < image.height && to >= 0 && to < image.height && from != to)
        std::memcpy(image.row(to), image.row(from), image.width);
}

void copyColumn(Plane& image, int from, int to) {
    if (from < 0 || from >= image.width || to < 0 || to >= image.width) return;
    for (int y = 0; y < image.height; ++y) image.row(y)[to] = image.row(y)[from];
}

}  // namespace

void repairUpsampleBorder(Plane& mask, int nearLines, int farLines) {
    const int h = mask.height, w = mask.width;
    for (int y = 0; y < nearLines; ++y) copyRow(mask, nearLines, y);
    for (int y = h - farLines; y < h; ++y) copyRow(mask, h - farLines - 1, y);
    for (int x = 0; x < nearLines; ++x) copyColumn(mask, nearLines, x);
    for (int x = w - farLines; x < w; ++x) copyColumn(mask, w - farLines - 1, x);
}

}  // namespace qx
