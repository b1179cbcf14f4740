// qxmatte matte IMAGE TRIMAP -o ALPHA: the soft alpha of an image from its
// trimap, optionally with a preview over a colour, recovered foreground
// colours and an RGBA cut-out.
#include "cli.h"

namespace qxcli {

CLI::App* addMatte(CLI::App& app, MatteCommand& c) {
    CLI::App* sub = app.add_subcommand("matte", "Compute a soft alpha matte from an image and a trimap");
    sub->add_option("IMAGE", c.image, "Colour image")->required();
    sub->add_option("TRIMAP", c.trimap, "Trimap of the same size: 0 background, 255 foreground, else unknown")
        ->required();
    sub->add_option("-o,--output", c.output, "Output alpha (8-bit grey)")->required();
    // The four stretch bounds are bytes with a shown default.
    auto addBound = [sub](const char* name, int& value, const char* what) {
        sub->add_option(name, value, what)->capture_default_str()->check(CLI::Range(0, 255));
    };
    addBound("--in-high", c.inHigh, "Trimap value stretched to 255 before solving");
    addBound("--in-low", c.inLow, "Trimap value stretched to 0 before solving");
    addBound("--out-high", c.outHigh, "Solved value stretched to 255");
    addBound("--out-low", c.outLow, "Solved value stretched to 0");
    sub->add_option("--unknown", c.unknown,
                    "Expected number of pixels to solve (default: the trimap's pixels other than 0 and 255)")
        ->check(CLI::NonNegativeNumber);
    sub->add_option("--preview", c.preview, "Write the image composited over --over by the alpha");
    sub->add_option("--over", c.over, "Preview background colour RRGGBB")->capture_default_str();
    sub->add_option("--foreground", c.foreground, "Write the recovered foreground colours");
    sub->add_option("--cutout", c.cutout, "Write an RGBA cut-out: recovered colours and the alpha");
    return sub;
}

int runMatte(const MatteCommand& c, ProgressBar& bar) {
    cv::Mat image = readColour(c.image);
    cv::Mat trimap = readMask(c.trimap);
    checkOutputs({c.output, c.preview, c.foreground, c.cutout}, {c.image, c.trimap});
    checkSameSize(image, c.image, trimap, c.trimap);
    cv::Scalar over = parseColour(c.over);
    if (c.inHigh == c.inLow) throw Failure{kExitUsage, "--in-high and --in-low must differ"};

    cv::Mat planes[3];
    cv::split(image, planes);  // continuous, one row step for all three
    cv::Mat alpha = trimap.clone();
    unsigned char* planePointers[3] = {planes[0].data, planes[1].data, planes[2].data};
    double unknown = c.unknown;
    if (unknown < 0) unknown = static_cast<double>(alpha.total()) - cv::countNonZero(alpha == 0) -
                               cv::countNonZero(alpha == 255);

    QxMaskJob job{};
    job.planes = planePointers;
    job.planeStep = static_cast<int>(planes[0].step);
    job.marksPixels = alpha.data;
    job.marksStep = static_cast<int>(alpha.step);
    job.width = alpha.cols;
    job.height = alpha.rows;
    job.progressCallback = progressFunction(bar);
    job.progressCookie = progressCookie(bar);
    beginProgress(bar, "matte");
    int rc = qxMaskAlpha(&job, 0, static_cast<float>(unknown), c.inHigh, c.inLow, c.outHigh, c.outLow);
    endProgress(bar);
    if (rc != 1) libraryFailed("qxMaskAlpha", rc);
    writeImage(c.output, alpha);

    if (!c.preview.empty()) writeImage(c.preview, compositeOver(image, alpha, cv::Mat(image.size(), CV_8UC3, over)));
    // The callback that qxMaskAlpha installed stays for the recovery.
    if (!c.foreground.empty() || !c.cutout.empty())
        writeRecoveredForeground(image, alpha, false, bar, c.foreground, c.cutout);
    return kExitOk;
}

}  // namespace qxcli
