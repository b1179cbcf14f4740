// qxmatte level IMAGE -o OUT --target T [--show C]: a levelled preview of the
// image or of one of its YCbCr components.
#include <memory>

#include "cli.h"

namespace qxcli {

namespace {

struct Options {
    std::string image, output, show = "image";
    int target = 0;
};

int run(const Options& c) {
    cv::Mat image = readColour(c.image);
    checkOutputs({c.output}, {c.image});
    writeImage(c.output, qxhost::levelPreview(image, c.target, qxhost::parseLevelShow(c.show)));
    return kExitOk;
}

}  // namespace

Command addLevel(CLI::App& app) {
    auto c = std::make_shared<Options>();
    CLI::App* sub = app.add_subcommand(
        "level", "Brighten a preview (never darkens), or show its luminance or chroma levelled around mid-grey");
    sub->add_option("IMAGE", c->image, "Colour image")->required();
    sub->add_option("--target", c->target,
                    "Wanted strongest channel mean (image, luma) or mean distance from mid-grey (chroma, cb, cr), "
                    "0 to 255; 1 or less: no levelling")
        ->required()
        ->check(CLI::Range(0, 255));
    sub->add_option("--show", c->show,
                    "image: the image; luma: luminance; chroma: colour without luminance; cb, cr: one chroma "
                    "component")
        ->capture_default_str()
        ->check(CLI::IsMember({"image", "luma", "chroma", "cb", "cr"}));
    sub->add_option("-o,--output", c->output, "Output image")->required();
    return {sub, [c](Context&) { return run(*c); }};
}

}  // namespace qxcli
