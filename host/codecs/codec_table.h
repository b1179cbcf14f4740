// The entry points of the image codec module (qxmatte-codecs.so), which the
// host layer loads on first use so that a host that never touches an image
// file never maps OpenCV's codecs and the many libraries behind them.
// Both sides are built from this tree against the same OpenCV: cv::Mat and
// std::string cross the boundary as they are. No exception crosses it.
#pragma once

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace qxhost {

// Raised when the layout of CodecTable changes.
constexpr int kCodecTableVersion = 1;

struct CodecTable {
    int version;
    // false with a cause in *error when the decoder throws; an empty *out
    // with no error when the bytes are no image it can decode.
    bool (*decode)(const std::vector<unsigned char>& bytes, int flags, cv::Mat* out, std::string* error);
    bool (*read)(const std::string& path, int flags, cv::Mat* out, std::string* error);
    // false with an empty *error when the encoder declines the image.
    bool (*encode)(const std::string& ext, const cv::Mat& image, std::vector<unsigned char>* bytes,
                   std::string* error);
    bool (*haveReader)(const std::string& path);
    bool (*haveWriter)(const std::string& path);
};

}  // namespace qxhost

// The module's only exported symbol.
extern "C" const qxhost::CodecTable* qxCodecTable();
