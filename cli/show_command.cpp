// qxmatte show IMAGE MASK -o OUT --mode M: a picture of the marks or the alpha
// over the image, to check a trimap or marks before a long solve.
#include <memory>

#include "cli.h"

namespace qxcli {

namespace {

struct Options {
    std::string image, mask, output, mode, colour = "FFFFFF";
    int low = 0, high = 255;
};

int run(const Options& c) {
    const auto colour = qxhost::parseHexColour(c.colour);
    checkSizesBeforeReading(c.image, {c.mask});
    cv::Mat image = readColour(c.image);
    cv::Mat mask = readMask(c.mask);
    checkSameSize(image, c.image, mask, c.mask);
    checkOutputs({c.output}, {c.image, c.mask});
    writeImage(c.output, qxhost::showMask(image, mask, qxhost::parseShowMode(c.mode), colour, c.low, c.high));
    return kExitOk;
}

}  // namespace

Command addShow(CLI::App& app) {
    auto c = std::make_shared<Options>();
    CLI::App* sub = app.add_subcommand("show", "Paint marks or an alpha over the image");
    sub->add_option("IMAGE", c->image, "Colour image")->required();
    sub->add_option("MASK", c->mask, "8-bit marks, trimap or alpha of the same size")->required();
    sub->add_option("--mode", c->mode,
                    "tint: image darkened, soft values blue, fixed cut (0 or 1) red, fixed keep green, other fixed "
                    "values yellow; classes: 0 and 1 red, 255 green, anything else blue; over: image over --colour by the mask; "
                    "overlay: --colour over the image by the mask; grey: the mask itself")
        ->required()
        ->check(CLI::IsMember({"tint", "classes", "over", "overlay", "grey"}));
    sub->add_option("--colour", c->colour, "Colour RRGGBB for over and overlay")->capture_default_str();
    sub->add_option("--low", c->low, "over, overlay, grey: mask value that counts as 0")
        ->capture_default_str()
        ->check(CLI::Range(0, 255));
    sub->add_option("--high", c->high, "over, overlay, grey: mask value that counts as 255")
        ->capture_default_str()
        ->check(CLI::Range(0, 255));
    sub->add_option("-o,--output", c->output, "Output image")->required();
    return {sub, [c](Context&) { return run(*c); }};
}

}  // namespace qxcli
