// Argument checks shared by the host layer's functions: each throws
// std::invalid_argument with a sentence naming what is wrong.
#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace qxhost {

// image must be 8-bit with one of the given channel counts (bit c set for c channels).
void requireDepth8(const cv::Mat& image, const char* what, unsigned channelCounts);
void requireSameSize(const cv::Mat& a, const char* aWhat, const cv::Mat& b, const char* bWhat);

}  // namespace qxhost
