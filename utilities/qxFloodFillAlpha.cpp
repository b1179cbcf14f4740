// Export: flood fill of a mask. The 8-connected region of pixels of the
// seed's class (cut, keep, or anything else) takes the class that the mode
// names; the fill runs on a class image so that soft values of one class
// count as one region.
#include <algorithm>

#include <opencv2/core.hpp>

#include "frame/export_frame.h"
#include "frame/image_buffer.h"
#include "qxmatte.h"

namespace qx {
namespace {

constexpr unsigned char kCut = 1, kKeep = 255, kUnknown = 0x7E;
// Class image values: 0 cut, 1 keep, 2 anything else; the unknown fill marks
// its region 0x7F so that it stands apart from all three.
constexpr unsigned char kClassCut = 0, kClassKeep = 1, kClassOther = 2, kFilledUnknown = 0x7F;

bool alreadyOfClass(unsigned char seed, int mode) {
    return (mode == 0 && seed == kCut) || (mode == 1 && seed == kKeep) || (mode == 2 && seed == kUnknown);
}

void classify(const unsigned char* pixels, int step, GIMG<unsigned char>& classes) {
#pragma omp parallel for schedule(static)
    for (int y = 0; y < classes.height; ++y) {
        const unsigned char* s = pixels + static_cast<std::ptrdiff_t>(y) * step;
        unsigned char* c = classes.row(y);
        for (int x = 0; x < classes.width; ++x)
            c[x] = s[x] == kCut ? kClassCut : (s[x] == kKeep ? kClassKeep : kClassOther);
    }
}

// Clamped to the image; a rectangle that runs past an edge spans the image in
// that direction.
void clampRect(const IppiConnectedComp& region, int width, int height, int* outRect) {
    int x = std::max(region.x, 0), y = std::max(region.y, 0);
    int w = std::max(region.width, 0), h = std::max(region.height, 0);
    if (x + w > width) {
        x = 0;
        w = width;
    }
    if (y + h > height) {
        y = 0;
        h = height;
    }
    outRect[0] = x;
    outRect[1] = y;
    outRect[2] = w;
    outRect[3] = h;
}

// Within the rectangle, pixels of class image value `from` become `value`.
void writeRect(unsigned char* pixels, int step, const GIMG<unsigned char>& classes, const int* rect,
               unsigned char from, unsigned char value) {
#pragma omp parallel for schedule(static)
    for (int y = rect[1]; y < rect[1] + rect[3]; ++y) {
        unsigned char* d = pixels + static_cast<std::ptrdiff_t>(y) * step;
        const unsigned char* c = classes.row(y);
        for (int x = rect[0]; x < rect[0] + rect[2]; ++x)
            if (c[x] == from) d[x] = value;
    }
}

// The unknown fill over the whole image: the region becomes 0x7E, every other
// pixel is put back from the saved copy.
void writeUnknown(unsigned char* pixels, int step, const GIMG<unsigned char>& classes, const cv::Mat& saved) {
#pragma omp parallel for schedule(static)
    for (int y = 0; y < classes.height; ++y) {
        unsigned char* d = pixels + static_cast<std::ptrdiff_t>(y) * step;
        const unsigned char* c = classes.row(y);
        const unsigned char* s = saved.ptr<unsigned char>(y);
        for (int x = 0; x < classes.width; ++x) d[x] = c[x] == kFilledUnknown ? kUnknown : s[x];
    }
}

int floodFill(unsigned char* pixels, int step, int width, int height, int seedX, int seedY, int mode, int* outRect) {
    mode &= 0xFF;

    cv::Mat host(height, width, CV_8UC1, pixels, static_cast<std::size_t>(step));
    const cv::Mat saved = host.clone();
    if (alreadyOfClass(host.at<unsigned char>(seedY, seedX), mode)) return 1;

    GIMG<unsigned char> classes(width, height);
    classify(pixels, step, classes);

    int bufferSize = 0;
    if (ippiFloodFillGetSize(width, height, &bufferSize) != ippStsNoErr) return -1;
    Ipp8u* buffer = ippsMalloc_8u(bufferSize);
    if (!buffer) return -1;
    const unsigned char newValue = mode == 0 ? kClassCut : mode == 1 ? kClassKeep
                                   : mode == 2 ? kFilledUnknown : static_cast<unsigned char>(mode);
    IppiConnectedComp region{};
    classes.status = ippiFloodFill_Range8Con_8u_C1IR(classes.pixels, classes.step, width, height, seedX, seedY,
                                                     newValue, 0, 0, &region, buffer);
    ippsFree(buffer);

    clampRect(region, width, height, outRect);
    if (mode == 1) {
        writeRect(pixels, step, classes, outRect, kClassKeep, kKeep);
    } else if (mode == 0) {
        writeRect(pixels, step, classes, outRect, kClassCut, kCut);
    } else if (mode == 2) {
        writeUnknown(pixels, step, classes, saved);
        outRect[0] = outRect[1] = 0;
        outRect[2] = width;
        outRect[3] = height;
    }
    return 1;
}

}  // namespace
}  // namespace qx

using namespace qx;

QX_EXPORT int qxFloodFillAlpha(unsigned char* pixels, int step, int width, int height, int seedX, int seedY,
                               int /*reserved1*/, int /*reserved2*/, int mode, int /*reserved3*/, int* outRect) {
    if (!outRect) return -3;
    outRect[0] = outRect[1] = outRect[2] = outRect[3] = 0;
    // An image without pixels has no seed; a negative seed lies outside too.
    if (!pixels || width < 1 || height < 1 || step < width) return -3;
    if (seedX >= width || seedY >= height || seedX < 0 || seedY < 0) return -3;
    // The saved copy and the class image are made before any pixel is
    // written: a failure to make them returns -1 with the mask as it was.
    return runExport(kRefuseMinusOneColumn,
                     [&] { return floodFill(pixels, step, width, height, seedX, seedY, mode, outRect); });
}
