// The rectangle a brush segment touches: the segment's bounding box grown by
// the radius and clipped to the image. w or h below 1 means it is empty.
#pragma once

#include <algorithm>

namespace qx {

// Brush radii beyond this count as this: cv::line takes a thickness of at
// most 32767, and a wider brush covers any image of up to 16383 pixels a
// side from any point inside it anyway.
constexpr int kMaxBrushRadius = 16383;

struct BrushRectangle {
    int left, top, right, bottom, w, h;
};

// Computed in 64 bits, so that no end point or radius overflows.
inline BrushRectangle brushRectangle(int x1, int y1, int x2, int y2, int radius, int width, int height) {
    const long long r = radius;
    const long long left = std::max(std::min<long long>(x1, x2) - r, 0LL);
    const long long top = std::max(std::min<long long>(y1, y2) - r, 0LL);
    const long long right = std::min(std::max<long long>(x1, x2) + r, width - 1LL);
    const long long bottom = std::min(std::max<long long>(y1, y2) + r, height - 1LL);
    const long long w = std::max(right - left + 1, 0LL), h = std::max(bottom - top + 1, 0LL);
    return {int(left), int(top), int(right), int(bottom), int(w), int(h)};
}

}  // namespace qx
