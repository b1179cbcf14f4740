// Phase split and merge of 8-bit images: the two halves of every
// reduction and doubling in matting.
#include <algorithm>

#include "matting/joint_upsample.h"

namespace qx {
namespace {
// Below this many pixels the threads cost more than the copy.
constexpr long long kParallelPixels = 1 << 15;
}  // namespace

void decimateTwo(const Plane& source, Plane& destination, int xOffset, int yOffset) {
    const int columns = std::min(destination.width, source.width / 2);
    const int rows = std::min(destination.height, source.height / 2);
#pragma omp parallel for schedule(static) if (static_cast<long long>(rows) * columns >= kParallelPixels)
    for (int y = 0; y < rows; ++y) {
        const unsigned char* in = source.row(2 * y + yOffset) + xOffset;
        unsigned char* out = destination.row(y);
        for (int x = 0; x < columns; ++x) out[x] = in[2 * x];
    }
}

void interleaveTwo(const Plane& source, Plane& destination, int xOffset, int yOffset) {
    // With an offset of 2 the last phase position may fall one past the edge;
    // such a column or row is left out rather than written outside the image.
    const int columns = std::min({source.width, destination.width / 2, (destination.width - xOffset + 1) / 2});
    const int rows = std::min({source.height, destination.height / 2, (destination.height - yOffset + 1) / 2});
#pragma omp parallel for schedule(static) if (static_cast<long long>(rows) * columns >= kParallelPixels)
    for (int y = 0; y < rows; ++y) {
        const unsigned char* in = source.row(y);
        unsigned char* out = destination.row(2 * y + yOffset) + xOffset;
        for (int x = 0; x < columns; ++x) out[2 * x] = in[x];
    }
}

}  // namespace qx
