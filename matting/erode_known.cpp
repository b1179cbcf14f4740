#include "matting/matting_system.h"

namespace qx {

// The image edge counts as a copy of its nearest pixels, not as background:
// the erosion runs on a copy padded by one replicated pixel all round.
void erodeKnown(GIMG<unsigned char>& image) {
    const int width = image.width;
    const int height = image.height;
    if (width < 1 || height < 1) return;
    GIMG<unsigned char> padded(width + 2, height + 2);
    unsigned char* inside = padded.row(1) + 1;
    ippiCopy_8u_C1R(image.pixels, image.step, inside, padded.step, width, height);

    const int paddedWidth = width + 2;
    ippiCopy_8u_C1R(padded.row(1), padded.step, padded.row(0), padded.step, paddedWidth, 1);
    ippiCopy_8u_C1R(padded.row(height), padded.step, padded.row(height + 1), padded.step, paddedWidth, 1);
    for (int y = 0; y < height + 2; ++y) {
        unsigned char* row = padded.row(y);
        row[0] = row[1];
        row[width + 1] = row[width];
    }
    image.status = ippiErode3x3_8u_C1R(inside, padded.step, image.pixels, image.step, width, height);
}

}  // namespace qx
