// qxmatte foreground IMAGE ALPHA -o FG: the true colours of the foreground,
// with the background that shows through soft edges removed.
#include <memory>

#include "cli.h"

namespace qxcli {

namespace {

struct Options {
    std::string image, alpha, output, cutout, colours = "full";
    bool cell = false;
};

int run(const Options& c, Context& context) {
    checkSizesBeforeReading(c.image, {c.alpha});
    checkCutoutOutput(c.cutout, "--cutout");
    cv::Mat image = readColour(c.image);
    cv::Mat alpha = readMask(c.alpha);
    checkOutputs({c.output, c.cutout}, {c.image, c.alpha});
    checkSameSize(image, c.image, alpha, c.alpha);
    const qxhost::ColourMethod method = c.cell ? qxhost::ColourMethod::Cell : colourMethod(c.colours);
    writeForegroundOutputs(image, alpha, method, context.bar, c.output, c.cutout);
    return kExitOk;
}

}  // namespace

Command addForeground(CLI::App& app) {
    auto c = std::make_shared<Options>();
    CLI::App* sub = app.add_subcommand("foreground", "Recover the foreground colours of an image under an alpha");
    sub->add_option("IMAGE", c->image, "Colour image")->required();
    sub->add_option("ALPHA", c->alpha, "Alpha matte of the same size (8-bit grey)")->required();
    sub->add_option("-o,--output", c->output, "Output foreground colours")->required();
    sub->add_option("--cutout", c->cutout, "Also write an RGBA cut-out: recovered colours and the alpha");
    CLI::Option* colours = addColoursOption(sub, c->colours, true);
    sub->add_flag("--cell", c->cell, "Same as --colours cell")->excludes(colours);
    return {sub, [c](Context& context) { return run(*c, context); }};
}

}  // namespace qxcli
