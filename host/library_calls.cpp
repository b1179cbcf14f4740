// The exports called on cv::Mat images: a matte from a trimap, and foreground
// colours by the chosen method.
#include <opencv2/imgproc.hpp>

#include "argument_checks.h"
#include "job_record.h"
#include "qxhost.h"

namespace qxhost {

cv::Mat solveAlpha(const cv::Mat& image, const cv::Mat& trimap, double unknownEstimate, MatteBounds bounds,
                   Progress progress) {
    requireDepth8(image, "the image", (1u << 3) | (1u << 4));
    requireDepth8(trimap, "the trimap", 1u << 1);
    requireSameSize(image, "the image", trimap, "the trimap");
    if (bounds.inHigh == bounds.inLow) throw std::invalid_argument("the high and low trimap bounds must differ");
    Planes planes = splitPlanes(image);
    cv::Mat alpha = trimap.clone();
    if (unknownEstimate < 0) unknownEstimate = trimapUnknownCount(trimap);

    QxMaskJob job{};
    job.planes = planes.pointers.data();
    job.planeStep = planes.step;
    job.marksPixels = alpha.data;
    job.marksStep = static_cast<int>(alpha.step);
    job.width = alpha.cols;
    job.height = alpha.rows;
    job.progressCallback = progress.function;
    job.progressCookie = progress.cookie;
    checkReturn("qxMaskAlpha", qxMaskAlpha(&job, 0, static_cast<float>(unknownEstimate), bounds.inHigh,
                                           bounds.inLow, bounds.outHigh, bounds.outLow));
    return alpha;
}

ColourMethod parseColourMethod(const std::string& name) {
    if (name == "full") return ColourMethod::FullResolution;
    if (name == "design") return ColourMethod::Design;
    if (name == "cell") return ColourMethod::Cell;
    throw std::invalid_argument("colour method '" + name + "' is not one of full, design, cell");
}

const char* colourMethodName(ColourMethod method) {
    switch (method) {
        case ColourMethod::Design: return "design";
        case ColourMethod::Cell: return "cell";
        default: return "full";
    }
}

namespace {

// qxRecoverForeground or qxRecoverForegroundCell over the whole image.
cv::Mat recoverByLibrary(const cv::Mat& image, const cv::Mat& alpha, bool cell, Progress progress) {
    cv::Mat pixels = toFourByte(image);
    cv::Mat fg = pixels.clone();  // pixels the recovery leaves alone keep the image's colour
    cv::Mat aux = cv::Mat::zeros(alpha.size(), CV_8UC1);
    cv::Mat a = alpha.clone();

    QxJob job = jobOver(pixels, a, &fg, aux, progress);
    job.roiWidth = image.cols;
    job.roiHeight = image.rows;
    if (cell) {
        job.roiBorder = 1;  // scale by image area
        checkReturn("qxRecoverForegroundCell", qxRecoverForegroundCell(&job, 1));
    } else {
        // qxRecoverForeground reports through the callback the last call installed.
        checkReturn("qxRecoverForeground", qxRecoverForeground(&job, 0));
    }
    return toThreeByte(fg);
}

}  // namespace

cv::Mat recoverColours(const cv::Mat& image, const cv::Mat& alpha, ColourMethod method, Progress progress) {
    requireDepth8(image, "the image", (1u << 3) | (1u << 4));
    requireDepth8(alpha, "the alpha", 1u << 1);
    requireSameSize(image, "the image", alpha, "the alpha");
    if (method == ColourMethod::FullResolution) return estimateForeground(image, alpha, ForegroundParams(), progress);
    return recoverByLibrary(image, alpha, method == ColourMethod::Cell, progress);
}

}  // namespace qxhost
