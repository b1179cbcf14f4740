// Export: one stroke of a mark into an 8-bit mask, 2 * radius + 1 wide,
// 8-connected, clipped to the mask.
#include <opencv2/imgproc.hpp>

#include "frame/export_frame.h"
#include "primitives/segment_reach.h"
#include "qxmatte.h"

namespace {

// Pen value of a mode: cut, keep, unknown, a fixed (odd) alpha, else 0.
// The widest pen the line drawing takes.
constexpr int kThickestPen = 32767;

int penValue(int mode, int value) {
    switch (mode & 0xFF) {
        case 0: return 1;
        case 1: return 255;
        case 2: return 0x7E;
        case 3: return (value & 0xFE) + 1;
        default: return 0;
    }
}

}  // namespace

QX_EXPORT int qxDrawLine8u(unsigned char* pixels, int step, int width, int height, int x1, int y1, int x2,
                           int y2, int radius, int mode, int value) {
    // Refused before the mask is touched: a negative size, a missing mask or
    // a step shorter than a row, a negative or too wide pen. An empty mask has
    // nothing to draw on.
    if (width < 0 || height < 0 || radius < 0 || radius > (kThickestPen - 1) / 2) return 0;
    if (width == 0 || height == 0) return 1;
    if (!pixels || step < width) return 0;
    cv::Mat mask(height, width, CV_8UC1, pixels, static_cast<std::size_t>(step));
    cv::Point from(x1, y1), to(x2, y2);
    if (!qx::clipSegmentToReach(width, height, from, to)) return 1;  // nowhere near the mask
    cv::line(mask, from, to, cv::Scalar(penValue(mode, value)), 2 * radius + 1,
             cv::LINE_8, 0);
    return 1;
}
