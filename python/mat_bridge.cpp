// Copies between numpy arrays and cv::Mat images, reversing the colour bytes.
#include "mat_bridge.h"

#include <cstring>

namespace qxpy {

cv::Mat bgrMat(const PixelView& v) {
    cv::Mat out(v.height, v.width, CV_8UC3);
    for (int y = 0; y < v.height; ++y) {
        unsigned char* o = out.ptr<unsigned char>(y);
        for (int x = 0; x < v.width; ++x, o += 3) {
            o[0] = v.at(y, x, 2);
            o[1] = v.at(y, x, 1);
            o[2] = v.at(y, x, 0);
        }
    }
    return out;
}

cv::Mat bgraMat(const PixelView& v) {
    cv::Mat out(v.height, v.width, CV_8UC4);
    for (int y = 0; y < v.height; ++y) {
        unsigned char* o = out.ptr<unsigned char>(y);
        for (int x = 0; x < v.width; ++x, o += 4) {
            o[0] = v.at(y, x, 2);
            o[1] = v.at(y, x, 1);
            o[2] = v.at(y, x, 0);
            o[3] = v.at(y, x, 3);
        }
    }
    return out;
}

cv::Mat maskMat(const PixelView& v) {
    cv::Mat out(v.height, v.width, CV_8UC1);
    copyChannel(v, 0, out.data, static_cast<py::ssize_t>(out.step));
    return out;
}

py::array_t<unsigned char> rgbArray(const cv::Mat& image, bool rgba) {
    const int in = image.channels(), channels = rgba ? 4 : 3;
    py::array_t<unsigned char> out = newImage(image.rows, image.cols, channels);
    unsigned char* o = out.mutable_data();
    for (int y = 0; y < image.rows; ++y) {
        const unsigned char* p = image.ptr<unsigned char>(y);
        for (int x = 0; x < image.cols; ++x, p += in, o += channels) {
            o[0] = p[2];
            o[1] = p[1];
            o[2] = p[0];
            if (rgba) o[3] = p[3];
        }
    }
    return out;
}

py::array_t<unsigned char> maskArray(const cv::Mat& mask) {
    py::array_t<unsigned char> out = newMask(mask.rows, mask.cols);
    for (int y = 0; y < mask.rows; ++y)
        std::memcpy(out.mutable_data() + static_cast<py::ssize_t>(y) * mask.cols, mask.ptr(y),
                    static_cast<std::size_t>(mask.cols));
    return out;
}

}  // namespace qxpy
