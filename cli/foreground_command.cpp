// qxmatte foreground IMAGE ALPHA -o FG: the true colours of the foreground,
// with the background that shows through soft edges removed.
#include "cli.h"

namespace qxcli {

CLI::App* addForeground(CLI::App& app, ForegroundCommand& c) {
    CLI::App* sub = app.add_subcommand("foreground", "Recover the foreground colours of an image under an alpha");
    sub->add_option("IMAGE", c.image, "Colour image")->required();
    sub->add_option("ALPHA", c.alpha, "Alpha matte of the same size (8-bit grey)")->required();
    sub->add_option("-o,--output", c.output, "Output foreground colours")->required();
    sub->add_option("--cutout", c.cutout, "Also write an RGBA cut-out: recovered colours and the alpha");
    sub->add_flag("--cell", c.cell, "Use the cell recovery (tapered into the image at the edges)");
    return sub;
}

int runForeground(const ForegroundCommand& c, ProgressBar& bar) {
    cv::Mat image = readColour(c.image);
    cv::Mat alpha = readMask(c.alpha);
    checkOutputs({c.output, c.cutout}, {c.image, c.alpha});
    checkSameSize(image, c.image, alpha, c.alpha);
    writeRecoveredForeground(image, alpha, c.cell, bar, c.output, c.cutout);
    return kExitOk;
}

}  // namespace qxcli
