// qxmatte foreground IMAGE ALPHA -o FG: the true colours of the foreground,
// with the background that shows through soft edges removed.
#include <opencv2/imgproc.hpp>

#include "cli.h"

namespace qxcli {

cv::Mat recoverForeground(const cv::Mat& image, const cv::Mat& alpha, bool cell, ProgressBar& bar) {
    cv::Mat bgra;
    cv::cvtColor(image, bgra, cv::COLOR_BGR2BGRA);
    cv::Mat out = bgra.clone();  // pixels the recovery leaves alone keep the image's colour
    cv::Mat aux = cv::Mat::zeros(alpha.size(), CV_8UC1);
    cv::Mat a = alpha.clone();

    QxJob job{};
    job.imagePixels = bgra.data;
    job.imageStep = static_cast<int>(bgra.step);
    job.maskPixels = a.data;
    job.maskStep = static_cast<int>(a.step);
    job.outPixels = out.data;
    job.outStep = static_cast<int>(out.step);
    job.auxPixels = aux.data;
    job.auxStep = static_cast<int>(aux.step);
    job.width = image.cols;
    job.height = image.rows;
    job.roiWidth = image.cols;
    job.roiHeight = image.rows;
    job.progressCallback = progressFunction(bar);
    job.progressCookie = progressCookie(bar);
    beginProgress(bar, "foreground");
    if (cell) {
        job.roiBorder = 1;  // scale by image area
        int rc = qxRecoverForegroundCell(&job, 1);
        endProgress(bar);
        if (rc != 1) libraryFailed("qxRecoverForegroundCell", rc);
    } else {
        int rc = qxRecoverForeground(&job, 0);
        endProgress(bar);
        if (rc != 0) libraryFailed("qxRecoverForeground", rc);
    }
    return out;
}

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
    cv::Mat fg = recoverForeground(image, alpha, c.cell, bar);
    cv::Mat bgr;
    cv::cvtColor(fg, bgr, cv::COLOR_BGRA2BGR);
    writeImage(c.output, bgr);
    if (!c.cutout.empty()) {
        cv::Mat channels[4];
        cv::split(fg, channels);
        channels[3] = alpha;
        cv::Mat rgba;
        cv::merge(channels, 4, rgba);
        writeImage(c.cutout, rgba);
    }
    return kExitOk;
}

}  // namespace qxcli
