// Foreground recovery shared by the matte and foreground subcommands: the
// image's true colours under an alpha, written as colours and/or a cut-out.
#include <opencv2/imgproc.hpp>

#include "cli.h"

namespace qxcli {

void writeRecoveredForeground(const cv::Mat& image, const cv::Mat& alpha, bool cell, ProgressBar& bar,
                              const std::string& colourPath, const std::string& cutoutPath) {
    cv::Mat bgra;
    cv::cvtColor(image, bgra, cv::COLOR_BGR2BGRA);
    cv::Mat fg = bgra.clone();  // pixels the recovery leaves alone keep the image's colour
    cv::Mat aux = cv::Mat::zeros(alpha.size(), CV_8UC1);
    cv::Mat a = alpha.clone();

    QxJob job{};
    job.imagePixels = bgra.data;
    job.imageStep = static_cast<int>(bgra.step);
    job.maskPixels = a.data;
    job.maskStep = static_cast<int>(a.step);
    job.outPixels = fg.data;
    job.outStep = static_cast<int>(fg.step);
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

    if (!colourPath.empty()) {
        cv::Mat bgr;
        cv::cvtColor(fg, bgr, cv::COLOR_BGRA2BGR);
        writeImage(colourPath, bgr);
    }
    if (!cutoutPath.empty()) {
        cv::Mat channels[4];
        cv::split(fg, channels);
        channels[3] = alpha;
        cv::Mat rgba;
        cv::merge(channels, 4, rgba);
        writeImage(cutoutPath, rgba);
    }
}

}  // namespace qxcli
