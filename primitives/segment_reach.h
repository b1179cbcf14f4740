// A stroke's segment with its ends brought near an image. cv::line walks every
// row between the ends of a thick stroke, inside the image or not, so an end
// a billion pixels off the canvas costs seconds. Ends further than kReach
// outside the image are moved along the segment to that distance, which is
// beyond the widest brush (radius 16383), so the round end caps stay outside
// too; the segment's slope changes by under 1/32768 pixel per pixel.
#pragma once

#include <cstdint>

#include <opencv2/imgproc.hpp>

namespace qx {

constexpr int kSegmentReach = 1 << 15;

// Clips (from, to) in place to the image's reach; false when the segment
// passes nowhere within it (then no brush of any allowed width reaches the
// image). Computed in 64 bits, so any two int ends are valid.
inline bool clipSegmentToReach(int width, int height, cv::Point& from, cv::Point& to) {
    // The reach's size in 64 bits: an image side near INT_MAX plus the reach
    // on both sides does not fit an int.
    const cv::Size2l reach(int64_t(width) + 2 * kSegmentReach, int64_t(height) + 2 * kSegmentReach);
    // In the reach's own coordinates, where it starts at (0, 0).
    cv::Point2l a(int64_t(from.x) + kSegmentReach, int64_t(from.y) + kSegmentReach);
    cv::Point2l b(int64_t(to.x) + kSegmentReach, int64_t(to.y) + kSegmentReach);
    const auto inside = [&](const cv::Point2l& p) {
        return p.x >= 0 && p.y >= 0 && p.x < reach.width && p.y < reach.height;
    };
    if (inside(a) && inside(b)) return true;
    if (!cv::clipLine(reach, a, b)) return false;
    from = cv::Point(int(a.x - kSegmentReach), int(a.y - kSegmentReach));
    to = cv::Point(int(b.x - kSegmentReach), int(b.y - kSegmentReach));
    return true;
}

}  // namespace qx
