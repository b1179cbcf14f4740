// qxmatte composite CUTOUT [BACKGROUND] -o OUT: an RGBA cut-out over a new
// background image (resized to fit) or over a plain colour.
#include <opencv2/imgproc.hpp>

#include "cli.h"

namespace qxcli {

cv::Mat compositeOver(const cv::Mat& fg, const cv::Mat& alpha, const cv::Mat& bg) {
    cv::Mat out(fg.size(), CV_8UC3);
    const int fgChannels = fg.channels();
    for (int y = 0; y < fg.rows; ++y) {
        const unsigned char* f = fg.ptr<unsigned char>(y);
        const unsigned char* a = alpha.ptr<unsigned char>(y);
        const unsigned char* b = bg.ptr<unsigned char>(y);
        unsigned char* o = out.ptr<unsigned char>(y);
        for (int x = 0; x < fg.cols; ++x)
            for (int ch = 0; ch < 3; ++ch)
                o[3 * x + ch] = static_cast<unsigned char>(
                    (f[fgChannels * x + ch] * a[x] + b[3 * x + ch] * (255 - a[x]) + 127) / 255);
    }
    return out;
}

CLI::App* addComposite(CLI::App& app, CompositeCommand& c) {
    CLI::App* sub = app.add_subcommand("composite", "Lay an RGBA cut-out over a new background");
    sub->add_option("CUTOUT", c.cutout, "RGBA cut-out (as written by matte --cutout)")->required();
    auto* bg = sub->add_option("BACKGROUND", c.background, "Background image, resized to the cut-out");
    auto* over = sub->add_option("--over", c.over, "Background colour RRGGBB instead of an image");
    bg->excludes(over);
    sub->add_option("-o,--output", c.output, "Output image")->required();
    return sub;
}

int runComposite(const CompositeCommand& c) {
    if (c.background.empty() && c.over.empty())
        throw Failure{kExitUsage, "composite needs a BACKGROUND image or --over RRGGBB"};
    cv::Mat cutout = readWithAlpha(c.cutout);
    cv::Mat bg;
    if (!c.background.empty()) {
        cv::Mat source = readColour(c.background);
        cv::resize(source, bg, cutout.size(), 0, 0, cv::INTER_AREA);
    } else {
        bg = cv::Mat(cutout.size(), CV_8UC3, parseColour(c.over));
    }
    checkOutputs({c.output}, {c.cutout, c.background});
    cv::Mat alpha;
    cv::extractChannel(cutout, alpha, 3);
    writeImage(c.output, compositeOver(cutout, alpha, bg));
    return kExitOk;
}

}  // namespace qxcli
