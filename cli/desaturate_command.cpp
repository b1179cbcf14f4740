// qxmatte desaturate CUTOUT -o OUT --amount A: take the colour out of the
// semi-transparent pixels of an RGBA cut-out, where the old background still
// shows through.
#include <memory>

#include "cli.h"

namespace qxcli {

namespace {

struct Options {
    std::string cutout, output;
    float amount = 1.0f;
};

int run(const Options& c) {
    cv::Mat cutout = readWithAlpha(c.cutout);
    checkOutputs({c.output}, {c.cutout});
    qxhost::desaturateCutout(cutout, c.amount);
    writeImage(c.output, cutout);
    return kExitOk;
}

}  // namespace

Command addDesaturate(CLI::App& app) {
    auto c = std::make_shared<Options>();
    CLI::App* sub = app.add_subcommand("desaturate", "Take the colour out of the semi-transparent pixels of a cut-out");
    sub->footer(
        "The saturation of each pixel is multiplied by (alpha/255)^4 * A + 1 - A: fully opaque pixels keep their\n"
        "colour, nearly transparent ones lose a share A of it. The alpha channel is kept.");
    sub->add_option("CUTOUT", c->cutout, "RGBA cut-out (8-bit); its alpha channel decides the strength")->required();
    sub->add_option("-o,--output", c->output, "Output cut-out")->required();
    sub->add_option("--amount", c->amount, "Strength from 0 (no change) to 1")
        ->capture_default_str()
        ->check(CLI::Range(0.0f, 1.0f));
    return {sub, [c](Context&) { return run(*c); }};
}

}  // namespace qxcli
