// qxmatte smooth MASK [--strength 0|1] -o OUT: median and Gaussian smoothing
// of a mask, its border left as it was.
#include <memory>

#include "cli.h"

namespace qxcli {

namespace {

struct Options {
    std::string mask, output;
    int strength = 0;
};

int run(const Options& c) {
    cv::Mat mask = readMask(c.mask);
    checkOutputs({c.output}, {c.mask});
    qxhost::smoothMask(mask, c.strength);
    writeImage(c.output, mask);
    return kExitOk;
}

}  // namespace

Command addSmooth(CLI::App& app) {
    auto c = std::make_shared<Options>();
    CLI::App* sub = app.add_subcommand(
        "smooth", "Smooth a mask: a cross-shaped median, then a 5x5 Gaussian; a 3 (or 4) pixel border stays");
    sub->add_option("MASK", c->mask, "8-bit mask image (read only)")->required();
    sub->add_option("--strength", c->strength, "0: 3x3 median, 3-pixel border; 1: 5x5 median, 4-pixel border")
        ->capture_default_str()
        ->check(CLI::Range(0, 1));
    sub->add_option("-o,--output", c->output, "Output mask image")->required();
    return {sub, [c](Context&) { return run(*c); }};
}

}  // namespace qxcli
