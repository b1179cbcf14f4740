// Export: one stroke of a mark into an 8-bit mask, 2 * radius + 1 wide,
// 8-connected, clipped to the mask.
#include <cstdint>

#include <opencv2/imgproc.hpp>

#include "frame/export_frame.h"
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

// cv::line walks every row between the ends of a thick stroke, inside the
// mask or not, so an end far off the canvas costs seconds. Ends further than
// this outside the mask are first moved along the stroke to that distance;
// the stroke's slope then changes by under 1/32768 pixel per pixel.
constexpr int kReach = 1 << 15;

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
    const cv::Rect reach(-kReach, -kReach, width + 2 * kReach, height + 2 * kReach);
    if (!reach.contains(from) || !reach.contains(to)) {
        // Clipped in 64 bits, in the reach's own coordinates.
        cv::Point2l a(int64_t(x1) + kReach, int64_t(y1) + kReach), b(int64_t(x2) + kReach, int64_t(y2) + kReach);
        if (!cv::clipLine(cv::Size2l(reach.width, reach.height), a, b)) return 1;  // nowhere near the mask
        from = cv::Point(int(a.x - kReach), int(a.y - kReach));
        to = cv::Point(int(b.x - kReach), int(b.y - kReach));
    }
    cv::line(mask, from, to, cv::Scalar(penValue(mode, value)), 2 * radius + 1,
             cv::LINE_8, 0);
    return 1;
}
