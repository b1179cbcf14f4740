// qxmatte grabcut IMAGE -o TRIMAP --rect X,Y,W,H: a trimap for `qxmatte matte`
// from a rectangle around the object and optional marks, by the library's
// GrabCut session.
#include <cstdio>
#include <memory>

#include "cli.h"

namespace qxcli {

namespace {

// "X,Y,W,H" with integers.
bool parseRect(const std::string& text, cv::Rect& rect) {
    char tail;
    return std::sscanf(text.c_str(), "%d,%d,%d,%d%c", &rect.x, &rect.y, &rect.width, &rect.height, &tail) == 4;
}

struct Options {
    std::string image, output, rect, marks;
    int band = -1;  // negative: the default of the image's size
    int iterations = 1;
};

int run(const Options& c, Context& context) {
    cv::Rect rect;
    parseRect(c.rect, rect);
    cv::Mat image = readColour(c.image);
    cv::Mat marks;
    if (!c.marks.empty()) {
        marks = readMask(c.marks);
        checkSameSize(image, c.image, marks, c.marks);
    }
    checkOutputs({c.output}, {c.image, c.marks});
    qxhost::GrabCutSettings settings;
    settings.bandWidth = c.band >= 0 ? c.band : qxhost::defaultGrabCutBand(image.size());
    settings.iterations = c.iterations;
    beginProgress(context.bar, "grabcut");
    cv::Mat trimap = qxhost::grabCutTrimap(image, marks, rect, settings, progressOf(context.bar));
    endProgress(context.bar);
    writeImage(c.output, trimap);
    return kExitOk;
}

}  // namespace

Command addGrabcut(CLI::App& app) {
    auto c = std::make_shared<Options>();
    CLI::App* sub = app.add_subcommand("grabcut", "Make a trimap from a rectangle around the object (GrabCut)");
    sub->footer(
        "Outside the rectangle is cut. The session runs on the rectangle with a margin of 8% of its longer side\n"
        "that is fixed cut (a side on the image's edge continues as the image's mirror image instead, so an\n"
        "object touching that edge keeps it), reduced to a longer side of 400 pixels; the selection's edge is\n"
        "then decided again at full size. The rectangle needs a longer side of at least 101 pixels and a shorter\n"
        "side of about a tenth of that. Marks (--marks) are 0 or 1 cut, 255 keep, anything else no mark; make\n"
        "them with `qxmatte stroke --like IMAGE --stroke keep:X1,Y1,X2,Y2 ...`. The trimap (0 background, 128\n"
        "unknown, 255 foreground) goes to `qxmatte matte` or `qxmatte cutout`.");
    sub->add_option("IMAGE", c->image, "Colour image")->required();
    sub->add_option("-o,--output", c->output, "Output trimap (8-bit grey)")->required();
    sub->add_option("--rect", c->rect, "Rectangle around the object X,Y,W,H")
        ->required()
        ->check(CLI::Validator(
            [](std::string& text) {
                cv::Rect r;
                return parseRect(text, r) ? std::string() : "'" + text + "' is not a rectangle X,Y,W,H";
            },
            "X,Y,W,H"));
    sub->add_option("--marks", c->marks,
                    "Marks image of the same size: 0 or 1 cut, 255 keep, anything else no mark (inside the rectangle)");
    sub->add_option("--band", c->band, "Width of the unknown band in pixels (default: 1% of the larger side, at least 4)")
        ->check(CLI::Range(0, 10000));
    sub->add_option("--iterations", c->iterations, "GrabCut passes, as a host runs one after each stroke")
        ->capture_default_str()
        ->check(CLI::Range(1, 100));
    return {sub, [c](Context& context) { return run(*c, context); }};
}

}  // namespace qxcli
