// Compositing a foreground over a new background by its alpha, and RGBA
// cut-outs.
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

#include "argument_checks.h"
#include "qxhost.h"

namespace qxhost {

cv::Mat compositeOverImage(const cv::Mat& foreground, const cv::Mat& alpha, const cv::Mat& background) {
    requireDepth8(foreground, "the foreground", (1u << 3) | (1u << 4));
    requireDepth8(background, "the background", (1u << 3) | (1u << 4));
    requireDepth8(alpha, "the alpha", 1u << 1);
    requireSameSize(foreground, "the foreground", alpha, "the alpha");
    requireSameSize(foreground, "the foreground", background, "the background");
    cv::Mat out(foreground.size(), CV_8UC3);
    const int fc = foreground.channels(), bc = background.channels();
#pragma omp parallel for schedule(static)
    for (int y = 0; y < foreground.rows; ++y) {
        const unsigned char* f = foreground.ptr<unsigned char>(y);
        const unsigned char* a = alpha.ptr<unsigned char>(y);
        const unsigned char* b = background.ptr<unsigned char>(y);
        unsigned char* o = out.ptr<unsigned char>(y);
        for (int x = 0; x < foreground.cols; ++x)
            for (int ch = 0; ch < 3; ++ch)
                o[3 * x + ch] =
                    static_cast<unsigned char>((f[fc * x + ch] * a[x] + b[bc * x + ch] * (255 - a[x]) + 127) / 255);
    }
    return out;
}

cv::Mat compositeOverColour(const cv::Mat& foreground, const cv::Mat& alpha, const cv::Scalar& colour) {
    return compositeOverImage(foreground, alpha, cv::Mat(foreground.size(), CV_8UC3, colour));
}

BackgroundFit parseBackgroundFit(const std::string& name) {
    if (name == "fill") return BackgroundFit::Fill;
    if (name == "fit") return BackgroundFit::Fit;
    if (name == "stretch") return BackgroundFit::Stretch;
    throw std::invalid_argument("background fit '" + name + "' is not one of fill, fit, stretch");
}

cv::Mat fitBackground(const cv::Mat& background, cv::Size size, BackgroundFit fit, cv::Point2d align,
                      const cv::Scalar& bars) {
    requireDepth8(background, "the background", (1u << 1) | (1u << 3) | (1u << 4));
    if (size.width < 1 || size.height < 1 || background.empty())
        throw std::invalid_argument("the background and the size must not be empty");
    if (!(align.x >= 0 && align.x <= 1 && align.y >= 0 && align.y <= 1))
        throw std::invalid_argument("the alignment must lie in 0 to 1 each way");
    cv::Mat colour;
    if (background.channels() == 1) cv::cvtColor(background, colour, cv::COLOR_GRAY2BGR);
    else if (background.channels() == 4) cv::cvtColor(background, colour, cv::COLOR_BGRA2BGR);
    else colour = background;
    auto resized = [](const cv::Mat& from, cv::Size to) {
        cv::Mat out;
        const bool smaller = to.area() < from.size().area();
        cv::resize(from, out, to, 0, 0, smaller ? cv::INTER_AREA : cv::INTER_CUBIC);
        return out;
    };
    if (fit == BackgroundFit::Stretch) return resized(colour, size);
    // One scale both ways: the larger of the two ratios covers, the smaller fits.
    const double sx = double(size.width) / colour.cols, sy = double(size.height) / colour.rows;
    const double scale = fit == BackgroundFit::Fill ? std::max(sx, sy) : std::min(sx, sy);
    const cv::Size scaled(std::max(1, int(std::lround(colour.cols * scale))),
                          std::max(1, int(std::lround(colour.rows * scale))));
    const cv::Mat big = resized(colour, scaled);
    cv::Mat out(size, CV_8UC3, bars);
    // Offset of the scaled background in the output: negative when it overhangs.
    const int dx = int(std::lround((size.width - scaled.width) * align.x));
    const int dy = int(std::lround((size.height - scaled.height) * align.y));
    const cv::Rect inOut = cv::Rect(dx, dy, scaled.width, scaled.height) & cv::Rect(cv::Point(), size);
    big(inOut - cv::Point(dx, dy)).copyTo(out(inOut));
    return out;
}

cv::Mat makeCutout(const cv::Mat& colours, const cv::Mat& alpha) {
    requireDepth8(colours, "the colours", (1u << 3) | (1u << 4));
    requireDepth8(alpha, "the alpha", 1u << 1);
    requireSameSize(colours, "the colours", alpha, "the alpha");
    cv::Mat out(colours.size(), CV_8UC4);
    const cv::Mat sources[] = {colours, alpha};
    const int fromTo[] = {0, 0, 1, 1, 2, 2, colours.channels(), 3};
    cv::mixChannels(sources, 2, &out, 1, fromTo, 4);
    return out;
}

}  // namespace qxhost
