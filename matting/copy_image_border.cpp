#include <algorithm>

#include "matting/solve_matte.h"

namespace qx {

// Top and bottom rows, then left and right columns over the whole height, on
// the allocated area. A frame wider than the image is cut to the image, so
// that no copy reaches the guard row.
void copyImageBorder(GIMG<unsigned char>& source, GIMG<unsigned char>& destination, int columns, int rows) {
    const int width = destination.allocWidth;
    const int height = destination.allocHeight;
    rows = std::min(rows, height);
    columns = std::min(columns, width);
    if (rows <= 0 && columns <= 0) return;
    const unsigned char* src = source.allocBase;
    unsigned char* dst = destination.allocBase;
    const int srcStep = source.step;
    const int dstStep = destination.step;
    auto at = [](auto* base, int step, int x, int y) { return base + static_cast<std::ptrdiff_t>(y) * step + x; };
    if (rows > 0) {
        ippiCopy_8u_C1R(src, srcStep, dst, dstStep, width, rows);
        ippiCopy_8u_C1R(at(src, srcStep, 0, height - rows), srcStep, at(dst, dstStep, 0, height - rows), dstStep,
                        width, rows);
    }
    if (columns > 0) {
        ippiCopy_8u_C1R(src, srcStep, dst, dstStep, columns, height);
        destination.status = ippiCopy_8u_C1R(at(src, srcStep, width - columns, 0), srcStep,
                                             at(dst, dstStep, width - columns, 0), dstStep, columns, height);
    }
}

}  // namespace qx
