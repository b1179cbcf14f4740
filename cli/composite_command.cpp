// qxmatte composite CUTOUT [BACKGROUND] -o OUT: an RGBA cut-out over a new
// background image or over a plain colour. A background of other proportions
// keeps them: it fills the cut-out's frame (the overhang cut off) or fits
// inside it, centred unless --align says otherwise.
#include <opencv2/imgproc.hpp>

#include <map>
#include <memory>

#include "cli.h"

namespace qxcli {

namespace {

struct Options {
    std::string cutout, background, output, over, fit = "fill", align = "centre";
};

// Where the background sits in the frame, as fractions of the spare room.
cv::Point2d alignment(const std::string& name) {
    static const std::map<std::string, cv::Point2d> places = {
        {"centre", {0.5, 0.5}}, {"top", {0.5, 0}},       {"bottom", {0.5, 1}},      {"left", {0, 0.5}},
        {"right", {1, 0.5}},    {"top-left", {0, 0}},    {"top-right", {1, 0}},     {"bottom-left", {0, 1}},
        {"bottom-right", {1, 1}}};
    return places.at(name);
}

int run(const Options& c) {
    if (c.background.empty() && c.over.empty())
        throw Failure{kExitUsage, "composite needs a BACKGROUND image or --over RRGGBB"};
    checkOutputs({c.output}, {c.cutout, c.background});
    cv::Mat cutout = readWithAlpha(c.cutout);
    const cv::Scalar plain = parseColour(c.over.empty() ? "FFFFFF" : c.over);
    cv::Mat bg;
    if (!c.background.empty()) {
        bg = qxhost::fitBackground(readColour(c.background), cutout.size(), qxhost::parseBackgroundFit(c.fit),
                                   alignment(c.align), plain);
    } else {
        bg = cv::Mat(cutout.size(), CV_8UC3, plain);
    }
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
    sub->add_option("BACKGROUND", c->background, "Background image, scaled to the cut-out's frame by --fit");
    sub->add_option("--over", c->over,
                    "Background colour RRGGBB instead of an image; with an image, the colour around it (--fit fit)");
    sub->add_option("--fit", c->fit,
                    "fill: cover the frame, cutting off what overhangs; fit: show the whole background, the rest "
                    "in the --over colour (white by default); stretch: to the frame's size, proportions lost")
        ->capture_default_str()
        ->check(CLI::IsMember({"fill", "fit", "stretch"}));
    sub->add_option("--align", c->align, "Where a filled or fitted background sits in the frame")
        ->capture_default_str()
        ->check(CLI::IsMember({"centre", "top", "bottom", "left", "right", "top-left", "top-right", "bottom-left",
                               "bottom-right"}));
    sub->add_option("-o,--output", c->output, "Output image")->required();
    return {sub, [c](Context&) { return run(*c); }};
}

}  // namespace qxcli
