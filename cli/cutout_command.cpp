// qxmatte cutout IMAGE MARKS -o CUTOUT: the finishing step of a cut-out at
// any size. The marks (a grey trimap: 0 cut, 255 keep, anything else
// unknown, as `qxmatte grabcut` writes it) become an alpha solved tile by
// tile, and the result is an RGBA cut-out with recovered colours. With
// --edit, one rectangle of an earlier cut-out is solved again inside a frame
// of its old alpha and merged by --only.
#include <opencv2/imgproc.hpp>

#include <cstdio>
#include <memory>

#include "cli.h"

namespace qxcli {

namespace {

struct Options {
    std::string image, marks, output, alpha, colours = "full", edit, only, previous, method = "accurate";
    bool half = false, noColours = false, verbose = false;
    int border = 8;
};

cv::Rect parseRectangle(const std::string& text) {
    int x, y, w, h;
    char end;
    if (std::sscanf(text.c_str(), "%d,%d,%d,%d%c", &x, &y, &w, &h, &end) != 4)
        throw Failure{kExitUsage, "--edit takes X,Y,W,H (four integers), not '" + text + "'"};
    if (x < 0 || y < 0 || w < 1 || h < 1)
        throw Failure{kExitUsage, "--edit " + text + ": X and Y must be 0 or more, W and H at least 1"};
    return cv::Rect(x, y, w, h);
}

int run(const Options& c, Context& context) {
    checkSizesBeforeReading(c.image, {c.marks, c.previous});
    checkCutoutOutput(c.output, "the cut-out");
    cv::Mat image = readColour(c.image);
    cv::Mat trimap = readMask(c.marks);
    checkOutputs({c.output, c.alpha}, {c.image, c.marks, c.previous});
    checkSameSize(image, c.image, trimap, c.marks);
    if (c.noColours && c.colours != "full") throw Failure{kExitUsage, "--no-colours and --colours exclude each other"};
    const bool editing = !c.edit.empty();
    if (!editing && (!c.previous.empty() || !c.only.empty()))
        throw Failure{kExitUsage, "--previous and --only belong to --edit X,Y,W,H"};
    if (editing && c.previous.empty())
        throw Failure{kExitUsage, "--edit re-solves part of an earlier cut-out: name it with --previous CUTOUT.png"};

    qxhost::CutoutSettings settings;
    settings.fullSize = !c.half;
    settings.designColours = !c.noColours && colourMethod(c.colours) == qxhost::ColourMethod::Design;
    cv::Mat marks = qxhost::marksFromTrimap(trimap);
    cv::Mat previous;
    if (editing) {
        settings.edit = parseRectangle(c.edit);
        settings.border = c.border;
        settings.mode = c.only == "remove" ? 0 : c.only == "add" ? 1 : 2;
        previous = readWithAlpha(c.previous);
        checkSameSize(image, c.image, previous, c.previous);
        marks = qxhost::prepareEdit(marks, previous, settings);
    }

    beginProgress(context.bar, "cutout");
    cv::Mat colours;
    cv::Mat alpha;
    if (editing) {
        alpha = qxhost::keepCutToAlpha(image, marks, settings, progressOf(context.bar), &colours);
        endProgress(context.bar);
    } else {
        // The whole image by the road: the route that fits, at full size unless --half.
        qxhost::RoadSettings road;
        road.halfTiles = c.half;
        road.method = qxhost::parseMatteMethod(c.method);
        road.colours = settings.designColours;
        road.colourMethod = qxhost::ColourMethod::Cell;  // the library's own recovery
        trimap.setTo(0, trimap == 1);  // the brushes' cut
        qxhost::RoadResult solved = qxhost::solveAnySize(image, trimap, road, progressOf(context.bar));
        endProgress(context.bar);
        reportRoute(solved, c.verbose);
        alpha = solved.alpha;
        colours = solved.colours;
    }

    if (c.noColours) {
        if (!editing) colours = image;
    } else if (!settings.designColours) {
        if (editing) {
            beginProgress(context.bar, "colours");
            qxhost::estimateForegroundInside(image, alpha, settings.edit, colours, progressOf(context.bar));
            endProgress(context.bar);
        } else {
            beginProgress(context.bar, "colours");
            colours = qxhost::estimateForeground(image, alpha, {}, progressOf(context.bar));
            endProgress(context.bar);
        }
    }
    if (editing && c.noColours) image(settings.edit).copyTo(colours(settings.edit));
    cv::Mat cutout = qxhost::makeCutout(colours, alpha);
    if (editing) {
        qxhost::finishEdit(previous, marks, settings, cutout);
        cv::extractChannel(cutout, alpha, 3);
    }
    writeImage(c.output, cutout);
    if (!c.alpha.empty()) writeImage(c.alpha, alpha);
    return kExitOk;
}

}  // namespace

Command addCutout(CLI::App& app) {
    auto c = std::make_shared<Options>();
    CLI::App* sub = app.add_subcommand("cutout", "Cut an object out at any image size: marks to an RGBA cut-out");
    sub->footer(
        "The marks are a grey trimap of the image's size (0 or 1 cut, 255 keep, anything else unknown), for example\n"
        "from `qxmatte grabcut`. The alpha is solved by the route that fits (one solve, tiles, or full-size\n"
        "pieces that lean on a quick solve of the whole), so there is no size limit; -v says which.\n"
        "With --edit X,Y,W,H --previous OLD.png, only that rectangle of the earlier cut-out is solved again,\n"
        "inside a frame of --border pixels of its old alpha; --only remove keeps the lower alpha of old and\n"
        "new (the edit only takes away), --only add the higher.");
    sub->add_option("IMAGE", c->image, "Colour image")->required();
    sub->add_option("MARKS", c->marks, "Trimap of the same size: 0 or 1 cut, 255 keep, anything else unknown")
        ->required();
    sub->add_option("-o,--output", c->output, "Output cut-out (RGBA: recovered colours and the alpha)")->required();
    sub->add_option("--alpha", c->alpha, "Also write the alpha alone (8-bit grey)");
    sub->add_flag("--half", c->half, "Solve a half-size copy and bring it up guided by the image (about twice as fast)");
    sub->add_flag("-v,--verbose", c->verbose, "Say on stderr which route solved the alpha and why");
    sub->add_flag("--no-colours", c->noColours, "Keep the image's own colours instead of recovering them");
    addColoursOption(sub, c->colours);
    sub->add_option("--method", c->method,
                    "accurate: colour sampling fixes the pixels it is sure of before the solve, and takes over "
                    "where the solve fades long faint strands; design: the library's solve alone (always for --edit)")
        ->capture_default_str()
        ->check(CLI::IsMember({"accurate", "design"}));
    sub->add_option("--edit", c->edit, "Re-solve only this rectangle X,Y,W,H of the --previous cut-out");
    sub->add_option("--border", c->border, "Pixels of the old alpha around an edit that hold it in place")
        ->capture_default_str()
        ->check(CLI::Range(1, 1000));
    sub->add_option("--only", c->only, "Merge an edit: remove (only lower the alpha) or add (only raise it)")
        ->check(CLI::IsMember({"add", "remove"}));
    sub->add_option("--previous", c->previous, "The earlier cut-out (RGBA) that --edit changes");
    return {sub, [c](Context& context) { return run(*c, context); }};
}

}  // namespace qxcli
