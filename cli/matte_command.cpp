// qxmatte matte IMAGE TRIMAP -o ALPHA: the soft alpha of an image from its
// trimap, optionally with a preview over a colour, recovered foreground
// colours and an RGBA cut-out.
#include <memory>

#include "cli.h"

namespace qxcli {

namespace {

struct Options {
    std::string image, trimap, output, preview, over = "FFFFFF", foreground, cutout, colours = "full",
        method = "accurate";
    qxhost::MatteBounds bounds;
    double unknown = -1;  // negative: count the trimap's unknown pixels (and choose the route)
    bool verbose = false;
};

int run(const Options& c, Context& context) {
    checkSizesBeforeReading(c.image, {c.trimap});
    checkCutoutOutput(c.cutout, "--cutout");
    cv::Mat image = readColour(c.image);
    cv::Mat trimap = readMask(c.trimap);
    checkOutputs({c.output, c.preview, c.foreground, c.cutout}, {c.image, c.trimap});
    checkSameSize(image, c.image, trimap, c.trimap);
    cv::Scalar over = parseColour(c.over);
    if (c.bounds.inHigh == c.bounds.inLow) throw Failure{kExitUsage, "--in-high and --in-low must differ"};
    qxhost::checkTrimap(trimap, c.trimap, c.bounds.inHigh, c.bounds.inLow);

    beginProgress(context.bar, "matte");
    qxhost::RoadSettings road;
    road.bounds = c.bounds;
    road.method = qxhost::parseMatteMethod(c.method);
    if (c.unknown >= 0) road.choice = qxhost::RouteChoice::LibraryMatte, road.unknownEstimate = c.unknown;
    const qxhost::RoadResult solved = qxhost::solveAnySize(image, trimap, road, progressOf(context.bar));
    const cv::Mat& alpha = solved.alpha;
    endProgress(context.bar);
    reportRoute(solved, c.verbose);
    writeImage(c.output, alpha);

    if (!c.preview.empty()) writeImage(c.preview, qxhost::compositeOverColour(image, alpha, over));
    writeForegroundOutputs(image, alpha, colourMethod(c.colours), context.bar, c.foreground, c.cutout);
    return kExitOk;
}

}  // namespace

Command addMatte(CLI::App& app) {
    auto c = std::make_shared<Options>();
    CLI::App* sub = app.add_subcommand("matte", "Compute a soft alpha matte from an image and a trimap");
    sub->add_option("IMAGE", c->image, "Colour image")->required();
    sub->add_option("TRIMAP", c->trimap, "Trimap of the same size: 0 background, 255 foreground, else unknown")
        ->required();
    sub->add_option("-o,--output", c->output, "Output alpha (8-bit grey)")->required();
    // The four stretch bounds are bytes with a shown default.
    auto addBound = [sub](const char* name, int& value, const char* what) {
        sub->add_option(name, value, what)->capture_default_str()->check(CLI::Range(0, 255));
    };
    addBound("--in-high", c->bounds.inHigh, "Trimap value stretched to 255 before solving");
    addBound("--in-low", c->bounds.inLow, "Trimap value stretched to 0 before solving");
    addBound("--out-high", c->bounds.outHigh, "Solved value stretched to 255");
    addBound("--out-low", c->bounds.outLow, "Solved value stretched to 0");
    sub->add_option("--unknown", c->unknown,
                    "Expected number of pixels to solve, handed to the library's matte as it is (default: the tool "
                    "counts them and chooses the route itself)")
        ->check(CLI::NonNegativeNumber);
    sub->add_flag("-v,--verbose", c->verbose, "Say on stderr which route solved the alpha and why");
    sub->add_option("--preview", c->preview, "Write the image composited over --over by the alpha");
    sub->add_option("--over", c->over, "Preview background colour RRGGBB")->capture_default_str();
    sub->add_option("--foreground", c->foreground, "Write the recovered foreground colours");
    sub->add_option("--cutout", c->cutout, "Write an RGBA cut-out: recovered colours and the alpha");
    addColoursOption(sub, c->colours);
    sub->add_option("--method", c->method,
                    "accurate: colour sampling fixes the pixels it is sure of before the solve, and takes over "
                    "where the solve fades long faint strands; design: the library's solve alone (also whenever a "
                    "stretch bound is given)")
        ->capture_default_str()
        ->check(CLI::IsMember({"accurate", "design"}));
    return {sub, [c](Context& context) { return run(*c, context); }};
}

}  // namespace qxcli
