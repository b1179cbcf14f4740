// Fills a frame of an image from its neighbouring inner pixels: the padding
// that makes an odd-sized level of the pyramid whole.
#include <cstring>

#include "matting/joint_upsample.h"

namespace qx {

void padImageEdges(Plane& image, int left, int top, int right, int bottom) {
    const int w = image.width, h = image.height;
    if (w <= 0 || h <= 0) return;
    for (int y = 0; y < top && top < h; ++y) std::memcpy(image.row(y), image.row(top), w);
    for (int y = h - bottom; y < h; ++y)
        if (y > 0) std::memcpy(image.row(y), image.row(y - 1), w);
    for (int y = 0; y < h; ++y) {
        unsigned char* p = image.row(y);
        if (left < w)
            for (int x = 0; x < left; ++x) p[x] = p[left];
        for (int x = w - right; x < w; ++x)
            if (x > 0) p[x] = p[x - 1];
    }
}

}  // namespace qx
