// qxmatte composite CUTOUT [BACKGROUND] -o OUT: an RGBA cut-out over a new
// background image (resized to fit) or over a plain colour.
#include <opencv2/imgproc.hpp>

#include <memory>

#include "cli.h"

namespace qxcli {

namespace {

struct Options {
    std::string cutout, background, output, over;
};

int run(const Options& c) {
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
    writeImage(c.output, qxhost::compositeOverImage(cutout, alpha, bg));
    return kExitOk;
}

}  // namespace

Command addComposite(CLI::App& app) {
    auto c = std::make_shared<Options>();
    CLI::App* sub = app.add_subcommand("composite", "Lay an RGBA cut-out over a new background");
    sub->add_option("CUTOUT", c->cutout, "RGBA cut-out (as written by matte --cutout)")->required();
    auto* bg = sub->add_option("BACKGROUND", c->background, "Background image, resized to the cut-out");
    auto* over = sub->add_option("--over", c->over, "Background colour RRGGBB instead of an image");
    bg->excludes(over);
    sub->add_option("-o,--output", c->output, "Output image")->required();
    return {sub, [c](Context&) { return run(*c); }};
}

}  // namespace qxcli
