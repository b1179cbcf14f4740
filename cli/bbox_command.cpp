// qxmatte bbox MASK: the box around the marked pixels and the class counts.
#include <cstdio>
#include <memory>

#include "cli.h"

namespace qxcli {

namespace {

struct Options {
    std::string mask;
    int keep = 255, cut = 0;
};

int run(const Options& c) {
    cv::Mat mask = readMaskAnyDepth(c.mask);
    int x = 0, w = 0, y = 0, h = 0, keep = 0, cut = 0;
    qxMaskBBox(mask.depth() == CV_16U, mask.data, static_cast<int>(mask.step), mask.cols, mask.rows, &x, &w, &y,
               &h, &keep, &cut, 0, c.keep, c.cut);
    std::printf("x=%d y=%d width=%d height=%d keep=%d cut=%d%s\n", x, y, w, h, keep, cut,
                w == 0 ? " (no marked region)" : "");
    return kExitOk;
}

}  // namespace

Command addBbox(CLI::App& app) {
    auto c = std::make_shared<Options>();
    CLI::App* sub = app.add_subcommand(
        "bbox", "Print the bounding box (12-pixel margin) of the pixels that are neither --keep nor --cut");
    sub->add_option("MASK", c->mask, "8-bit or 16-bit mask image")->required();
    sub->add_option("--keep", c->keep, "First background value (16-bit masks: at or above 128 times it)")
        ->capture_default_str()
        ->check(CLI::Range(0, 255));
    sub->add_option("--cut", c->cut, "Second background value (16-bit masks: at or below 128 times it)")
        ->capture_default_str()
        ->check(CLI::Range(0, 255));
    return {sub, [c](Context&) { return run(*c); }};
}

}  // namespace qxcli
