// The GrabCut road of a host: rectangle and optional marks in, a grey trimap
// out, through qxGrabCut, qxGrabCutEdgeGen and qxGrabCutDeleteBuf. A
// rectangle larger than one session takes is worked on as a reduced copy.
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

#include "argument_checks.h"
#include "qxhost.h"

namespace qxhost {
namespace {

// Number of halvings the library applies to a region whose larger side is
// `side` (0 for 101 to 200, 1 up to 799, 2 up to 1599, 3 up to 3199).
int halvings(int side) { return static_cast<int>(std::log(side * 0.0025) / std::log(2.0)) + 1; }

int coarseSide(int side, int levels) {
    for (int l = 0; l < levels; ++l) side = side / 2 + (side & 1);
    return side;
}

// A job over the given planes with the grab rectangle `rect`.
QxJob makeJob(cv::Mat& pixels, cv::Mat& mask, cv::Mat& aux, cv::Rect rect, Progress progress) {
    QxJob job{};
    job.imagePixels = pixels.data;
    job.imageStep = static_cast<int>(pixels.step);
    job.maskPixels = mask.data;
    job.maskStep = static_cast<int>(mask.step);
    job.auxPixels = aux.data;
    job.auxStep = static_cast<int>(aux.step);
    job.width = pixels.cols;
    job.height = pixels.rows;
    job.grabX = rect.x;
    job.grabY = rect.y;
    job.grabWidth = rect.width;
    job.grabHeight = rect.height;
    job.progressCallback = progress.function;
    job.progressCookie = progress.cookie;
    return job;
}

// Runs `iterations` passes of one session over the job's rectangle; the
// selection ends in aux. The session is ended even when a pass fails.
void runSession(QxJob& job, int iterations) {
    int rc = 1;
    for (int i = 0; i < iterations && rc == 1; ++i) rc = qxGrabCut(&job, 0);
    if (job.grabCutSession) {
        // A session without its ending pass: free it, leave the planes alone.
        QxJob release = job;
        release.grabWidth = 0;
        qxGrabCutDeleteBuf(&release);
    }
    checkReturn("qxGrabCut", rc);
}

}  // namespace

bool grabCutAccepts(int width, int height) {
    const int side = std::max(width, height);
    if (side < 101 || side > kGrabCutMaxSide) return false;
    const int levels = halvings(side);
    return coarseSide(width, levels) > 10 && coarseSide(height, levels) > 10;
}

int defaultGrabCutBand(cv::Size image) { return std::max(4, static_cast<int>(std::lround(0.01 * std::max(image.width, image.height)))); }

cv::Mat grabCutTrimap(const cv::Mat& image, const cv::Mat& marks, cv::Rect rect, const GrabCutSettings& settings,
                      Progress progress) {
    requireDepth8(image, "the image", (1u << 3) | (1u << 4));
    if (!marks.empty()) {
        requireDepth8(marks, "the marks", 1u << 1);
        requireSameSize(image, "the image", marks, "the marks");
    }
    if (rect.width <= 0 || rect.height <= 0 || (rect & cv::Rect(0, 0, image.cols, image.rows)) != rect)
        throw std::invalid_argument("the rectangle " + std::to_string(rect.x) + "," + std::to_string(rect.y) + "," +
                                    std::to_string(rect.width) + "," + std::to_string(rect.height) +
                                    " is empty or leaves the " + std::to_string(image.cols) + "x" +
                                    std::to_string(image.rows) + " image");
    if (settings.bandWidth < 0) throw std::invalid_argument("the band width must not be negative");
    if (settings.iterations < 1) throw std::invalid_argument("at least one GrabCut pass is needed");

    // Reduced so that the rectangle's larger side is at most what one session takes.
    const double scale = std::min(1.0, double(kGrabCutMaxSide) / std::max(rect.width, rect.height));
    const cv::Size work(std::max(1, int(rect.width * scale)), std::max(1, int(rect.height * scale)));
    if (!grabCutAccepts(work.width, work.height))
        throw std::invalid_argument("the rectangle " + std::to_string(rect.width) + "x" + std::to_string(rect.height) +
                                    " is too small for GrabCut: it needs a longer side of at least 101 pixels and "
                                    "a shorter side of more than a tenth of that after halving (about 11 pixels "
                                    "for a longer side up to 200, 21 up to 799, 41 up to 1599, 81 beyond)");

    // Full-size planes: outside the rectangle fixed cut; inside the user's
    // marks (0 or 1 cut, 255 keep), anything else no mark.
    cv::Mat pixels = toFourByte(image);
    cv::Mat mask(image.size(), CV_8UC1, cv::Scalar(kMarkCut));
    cv::Mat userMarks = marks.empty() ? cv::Mat(image.size(), CV_8UC1, cv::Scalar(128)) : marks;
    marksFromTrimap(userMarks(rect)).copyTo(mask(rect));
    cv::Mat aux = mask.clone();

    if (scale == 1.0) {
        QxJob job = makeJob(pixels, mask, aux, rect, progress);
        runSession(job, settings.iterations);
    } else {
        // The session on a reduced copy of the rectangle; its selection is
        // brought back by linear interpolation and cut at the half level, and
        // the fixed marks are put back at full size.
        cv::Mat smallPixels, smallMask;
        cv::resize(pixels(rect), smallPixels, work, 0, 0, cv::INTER_AREA);
        cv::resize(mask(rect), smallMask, work, 0, 0, cv::INTER_NEAREST);
        cv::Mat smallAux = smallMask.clone();
        QxJob job = makeJob(smallPixels, smallMask, smallAux, cv::Rect(cv::Point(), work), progress);
        runSession(job, settings.iterations);
        cv::Mat selection;
        cv::resize(smallAux, selection, rect.size(), 0, 0, cv::INTER_LINEAR);
        cv::Mat region = aux(rect);
        const cv::Mat fixedMarks = (region & 1) != 0;
        cv::Mat soft = cv::Mat::zeros(rect.size(), CV_8UC1);
        soft.setTo(0xFE, selection >= 128);
        region.copyTo(soft, fixedMarks);
        soft.copyTo(region);
    }

    // The band and the ending pass at full size.
    QxJob job = makeJob(pixels, mask, aux, rect, progress);
    qxGrabCutEdgeGen(&job, settings.bandWidth);
    qxGrabCutDeleteBuf(&job);

    return trimapFromMarks(mask);
}

void desaturateCutout(cv::Mat& cutout, float amount) {
    requireDepth8(cutout, "the cut-out", 1u << 4);
    if (!(amount >= 0.0f && amount <= 1.0f)) throw std::invalid_argument("the amount must be from 0 to 1");
    if (!cutout.isContinuous()) cutout = cutout.clone();
    // The library skips pixels whose alpha byte is odd (a fixed mark): here
    // every alpha is a level, so only full opacity is passed as fixed.
    cv::Mat alpha;
    cv::extractChannel(cutout, alpha, 3);
    cv::Mat plane = alpha & 0xFE;
    plane.setTo(0xFF, alpha == 255);
    checkReturn("qxDesaturation", qxDesaturation(cutout.data, static_cast<int>(cutout.step), cutout.cols, cutout.rows,
                                                 plane.data, static_cast<int>(plane.step), amount));
}

}  // namespace qxhost
