// numpy arrays to and from the host layer's cv::Mat images (library byte
// order: blue, green, red).
#pragma once

#include <opencv2/core.hpp>

#include "arrays.h"

namespace qxpy {

// A new CV_8UC3 image in library order from an RGB view.
cv::Mat bgrMat(const PixelView& v);
// A new CV_8UC4 image in library order (blue, green, red, alpha) from an RGBA view.
cv::Mat bgraMat(const PixelView& v);
// A new CV_8UC1 copy of a mask view.
cv::Mat maskMat(const PixelView& v);
// A new H x W x 3 RGB array from a 3- or 4-channel image in library order, or
// H x W x 4 RGBA with its fourth byte when rgba is set.
py::array_t<unsigned char> rgbArray(const cv::Mat& image, bool rgba = false);
// A new H x W array from a CV_8UC1 image.
py::array_t<unsigned char> maskArray(const cv::Mat& mask);

}  // namespace qxpy
