// Byte orders of the library's images: four-byte pixels (blue, green, red,
// fourth byte), three-byte pixels, and three planes with one row step.
#include <opencv2/imgproc.hpp>

#include <cctype>

#include "argument_checks.h"
#include "qxhost.h"

namespace qxhost {

cv::Mat toFourByte(const cv::Mat& image, ChannelOrder order, unsigned char fourth) {
    requireDepth8(image, "the image", (1u << 1) | (1u << 3) | (1u << 4));
    cv::Mat out(image.size(), CV_8UC4);
    const bool rgb = order == ChannelOrder::RGB;
    switch (image.channels()) {
        case 1: cv::cvtColor(image, out, cv::COLOR_GRAY2BGRA); break;
        case 3: cv::cvtColor(image, out, rgb ? cv::COLOR_RGB2BGRA : cv::COLOR_BGR2BGRA); break;
        default:
            if (rgb) cv::cvtColor(image, out, cv::COLOR_RGBA2BGRA);
            else image.copyTo(out);
            return out;  // the image's own fourth byte stays
    }
    cv::Mat fourthPlane(image.size(), CV_8UC1, cv::Scalar(fourth));
    cv::insertChannel(fourthPlane, out, 3);
    return out;
}

cv::Mat toThreeByte(const cv::Mat& pixels, ChannelOrder order) {
    requireDepth8(pixels, "the pixels", (1u << 3) | (1u << 4));
    cv::Mat out;
    const bool rgb = order == ChannelOrder::RGB;
    if (pixels.channels() == 4) cv::cvtColor(pixels, out, rgb ? cv::COLOR_BGRA2RGB : cv::COLOR_BGRA2BGR);
    else if (rgb) cv::cvtColor(pixels, out, cv::COLOR_BGR2RGB);
    else out = pixels.clone();
    return out;
}

Planes splitPlanes(const cv::Mat& image) {
    requireDepth8(image, "the image", (1u << 3) | (1u << 4));
    Planes p;
    // One continuous block of three planes, so that all share one row step.
    p.storage.create(3 * image.rows, image.cols, CV_8UC1);
    cv::Mat views[3];
    for (int i = 0; i < 3; ++i) {
        views[i] = p.storage.rowRange(i * image.rows, (i + 1) * image.rows);
        p.pointers[i] = views[i].data;
    }
    const int fromTo[] = {0, 0, 1, 1, 2, 2};
    cv::mixChannels(&image, 1, views, 3, fromTo, 3);
    p.step = static_cast<int>(p.storage.step);
    return p;
}

cv::Mat mergePlanes(const Planes& planes, int width, int height) {
    cv::Mat views[3];
    for (int i = 0; i < 3; ++i) views[i] = cv::Mat(height, width, CV_8UC1, planes.pointers[i], planes.step);
    cv::Mat out;
    cv::merge(views, 3, out);
    return out;
}

std::array<unsigned char, 3> parseHexColour(const std::string& text) {
    std::string hex = !text.empty() && text[0] == '#' ? text.substr(1) : text;
    bool ok = hex.size() == 6;
    for (char ch : hex) ok = ok && std::isxdigit(static_cast<unsigned char>(ch));
    if (!ok) throw std::invalid_argument("colour '" + text + "' is not of the form RRGGBB (hex digits)");
    const long v = std::stol(hex, nullptr, 16);
    return {static_cast<unsigned char>(v >> 16), static_cast<unsigned char>(v >> 8), static_cast<unsigned char>(v)};
}

}  // namespace qxhost
