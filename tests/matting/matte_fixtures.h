// Helpers of the matting tests: cv::Mat pixels seen through attached
// buffers, and constant colour planes.
#pragma once

#include <opencv2/core.hpp>

#include <array>

#include "frame/image_buffer.h"

namespace mattest {

using Plane = qx::GIMG<unsigned char>;

inline Plane attach(const cv::Mat& m) { return Plane(m.cols, m.rows, m.data, static_cast<int>(m.step)); }
inline cv::Mat flat(int width, int height, int v) { return cv::Mat(height, width, CV_8UC1, cv::Scalar(v)); }

struct Planes {
    std::array<cv::Mat, 3> mats;
    unsigned char* pixels[3];
    int step;
    Planes(int width, int height, int r, int g, int b)
        : mats{flat(width, height, r), flat(width, height, g), flat(width, height, b)}, step(int(mats[0].step)) {
        for (int c = 0; c < 3; ++c) pixels[c] = mats[c].data;
    }
};

}  // namespace mattest
