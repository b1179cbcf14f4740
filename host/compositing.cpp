// Compositing a foreground over a new background by its alpha, and RGBA
// cut-outs.
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
