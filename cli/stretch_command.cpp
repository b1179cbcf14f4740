// qxmatte stretch ALPHA --low L --high H [--protect] -o OUT: stretch an alpha
// from [L, H] to [0, 255].
#include <memory>

#include "cli.h"

namespace qxcli {

namespace {

struct Options {
    std::string alpha, output;
    int low = 0, high = 255;
    bool protect = false;
};

int run(const Options& c) {
    cv::Mat alpha = readMask(c.alpha);
    checkOutputs({c.output}, {c.alpha});
    qxhost::stretchAlpha(alpha, c.low, c.high, c.protect);
    writeImage(c.output, alpha);
    return kExitOk;
}

}  // namespace

Command addStretch(CLI::App& app) {
    auto c = std::make_shared<Options>();
    CLI::App* sub = app.add_subcommand("stretch", "Stretch an 8-bit alpha from [--low, --high] to [0, 255]");
    sub->add_option("ALPHA", c->alpha, "8-bit alpha or marks image (read only)")->required();
    sub->add_option("--low", c->low, "Value that becomes 0 (and all below it)")->required()->check(CLI::Range(0, 255));
    sub->add_option("--high", c->high, "Value that becomes 255 (about; and all above it)")
        ->required()
        ->check(CLI::Range(0, 255));
    sub->add_flag("--protect", c->protect, "Keep odd (fixed) values as they are and stretched values even");
    sub->add_option("-o,--output", c->output, "Output image")->required();
    return {sub, [c](Context&) { return run(*c); }};
}

}  // namespace qxcli
