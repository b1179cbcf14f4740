// qxmatte fill MASK --seed X,Y --as CLASS -o OUT: flood-fill the region of
// like-class marks around a seed with a class.
#include <cstdio>
#include <memory>

#include "cli.h"

namespace qxcli {

namespace {

struct Options {
    std::string mask, output, seed, as;
};

int run(const Options& c) {
    int x, y;
    parsePoint(c.seed, x, y);
    cv::Mat mask = readMask(c.mask);
    checkOutputs({c.output}, {c.mask});
    const cv::Rect r = qxhost::floodFillMarks(mask, {x, y}, qxhost::parseFillClass(c.as));
    writeImage(c.output, mask);
    std::printf("x=%d y=%d width=%d height=%d%s\n", r.x, r.y, r.width, r.height,
                r.width == 0 ? " (the seed already had that class)" : "");
    return kExitOk;
}

}  // namespace

Command addFill(CLI::App& app) {
    auto c = std::make_shared<Options>();
    CLI::App* sub = app.add_subcommand(
        "fill", "Flood-fill the 8-connected region of the seed's class (cut 0 or 1, keep 255, anything else) "
                "with a class, and print the changed rectangle");
    sub->add_option("MASK", c->mask, "8-bit marks image (read only)")->required();
    sub->add_option("--seed", c->seed, "Seed point X,Y inside the mask")->required()->check(pointValidator());
    sub->add_option("--as", c->as, "Class to fill with: keep (255), cut (1; 0 in a trimap, which holds no 1) or unknown (126)")
        ->required()
        ->check(CLI::IsMember({"keep", "cut", "unknown"}));
    sub->add_option("-o,--output", c->output, "Output mask image")->required();
    return {sub, [c](Context&) { return run(*c); }};
}

}  // namespace qxcli
