// qxmatte stroke MASK ... -o OUT: draw one pen stroke into a mask.
#include <map>
#include <memory>

#include "cli.h"

namespace qxcli {

namespace {

struct Options {
    std::string mask, output, from, to, mode = "keep";
    int radius = 2, value = 255;
};

int run(const Options& c) {
    static const std::map<std::string, int> modes{{"cut", 0}, {"keep", 1}, {"unknown", 2}, {"fixed", 3}};
    int x1, y1, x2, y2;
    parsePoint(c.from, x1, y1);
    parsePoint(c.to, x2, y2);
    cv::Mat mask = readMask(c.mask);
    checkOutputs({c.output}, {c.mask});
    qxDrawLine8u(mask.data, static_cast<int>(mask.step), mask.cols, mask.rows, x1, y1, x2, y2, c.radius,
                 modes.at(c.mode), c.value);
    writeImage(c.output, mask);
    return kExitOk;
}

}  // namespace

Command addStroke(CLI::App& app) {
    auto c = std::make_shared<Options>();
    CLI::App* sub = app.add_subcommand("stroke", "Draw one stroke of a mark into an 8-bit mask");
    sub->add_option("MASK", c->mask, "8-bit mask image to draw into (read only)")->required();
    sub->add_option("--from", c->from, "Start point X,Y")->required()->check(pointValidator());
    sub->add_option("--to", c->to, "End point X,Y")->required()->check(pointValidator());
    sub->add_option("--radius", c->radius, "Pen radius; the stroke is 2*R+1 wide")
        ->capture_default_str()
        ->check(CLI::Range(0, 16000));
    sub->add_option("--mode", c->mode, "keep (255), cut (1), unknown (126) or fixed (odd --value)")
        ->capture_default_str()
        ->check(CLI::IsMember({"keep", "cut", "unknown", "fixed"}));
    sub->add_option("--value", c->value, "Value of a fixed stroke, made odd")
        ->capture_default_str()
        ->check(CLI::Range(0, 255));
    sub->add_option("-o,--output", c->output, "Output mask image")->required();
    return {sub, [c](Context&) { return run(*c); }};
}

}  // namespace qxcli
