// The cell's tile test: unknown alpha counted on even values only.
#include "foreground/foreground_driver.h"

namespace qx {

int countEvenUnknown(const unsigned char* pixels, int step, int width, int height) {
    int count = 0;
#pragma omp parallel for schedule(static) reduction(+ : count)
    for (int y = 0; y < height; ++y) {
        const unsigned char* row = pixels + static_cast<std::ptrdiff_t>(y) * step;
        for (int x = 0; x < width; ++x) {
            const unsigned char v = row[x];
            // Odd values are fixed marks: a tile of only those counts as empty.
            if ((v & 1) == 0 && v > 5 && v < 250) ++count;
        }
    }
    return count;
}

}  // namespace qx
