// The GrabCut road of a host: rectangle and optional marks in, a grey trimap
// out, through qxGrabCut, qxGrabCutEdgeGen and qxGrabCutDeleteBuf. A
// region of the rectangle and a margin runs on a reduced copy, and the edge
// of its selection is decided again at full size (grabcut_band.cpp).
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

#include "argument_checks.h"
#include "job_record.h"
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
    QxJob job = jobOver(pixels, mask, nullptr, aux, progress);
    job.grabX = rect.x;
    job.grabY = rect.y;
    job.grabWidth = rect.width;
    job.grabHeight = rect.height;
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

namespace {

constexpr unsigned char kSoftKeep = 0xFE;

void checkGrabCutArguments(const cv::Mat& image, const cv::Mat& marks, cv::Rect rect, int iterations) {
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
    if (iterations < 1) throw std::invalid_argument("at least one GrabCut pass is needed");
    const double scale = std::min(1.0, double(kGrabCutMaxSide) / std::max(rect.width, rect.height));
    if (!grabCutAccepts(std::max(1, int(rect.width * scale)), std::max(1, int(rect.height * scale))))
        throw std::invalid_argument("the rectangle " + std::to_string(rect.width) + "x" + std::to_string(rect.height) +
                                    " is too small for GrabCut: it needs a longer side of at least 101 pixels and "
                                    "a shorter side of more than a tenth of that after halving (about 11 pixels "
                                    "for a longer side up to 200, 21 up to 799, 41 up to 1599, 81 beyond)");
}

// The session's marks over the whole image: fixed cut outside the rectangle,
// inside the user's fixed marks and elsewhere soft keep, so that every pixel
// of the rectangle starts as probable object.
cv::Mat sessionMarks(const cv::Mat& marks, cv::Size size, cv::Rect rect) {
    cv::Mat out(size, CV_8UC1, cv::Scalar(kMarkCut));
    if (marks.empty()) {
        out(rect).setTo(kSoftKeep);
    } else {
        cv::Mat inside = marksFromTrimap(marks(rect));
        inside.setTo(kSoftKeep, inside == kMarkUnknown);
        inside.copyTo(out(rect));
    }
    return out;
}

// `region` of a plane, the parts beyond the plane's edge filled with its
// mirror image.
cv::Mat mirroredRegion(const cv::Mat& plane, cv::Rect region) {
    const cv::Rect real = region & cv::Rect(0, 0, plane.cols, plane.rows);
    cv::Mat out;
    cv::copyMakeBorder(plane(real), out, real.y - region.y, region.br().y - real.br().y, real.x - region.x,
                       region.br().x - real.br().x, cv::BORDER_REFLECT);
    return out;
}

}  // namespace

cv::Mat grabCutSelection(const cv::Mat& image, const cv::Mat& marks, cv::Rect rect, int iterations, Progress progress) {
    checkGrabCutArguments(image, marks, rect, iterations);
    const cv::Rect whole(0, 0, image.cols, image.rows);
    const cv::Mat pixels = toFourByte(image);
    const cv::Mat imageMarks = sessionMarks(marks, image.size(), rect);

    // The region: the rectangle and a margin. The margin is fixed cut where
    // it lies in the image, which gives the first pass background marks to
    // build its colour models from and covers the coarse level's frame of
    // definite background; beyond the image's edge it is the mirror image
    // with the rectangle's marks mirrored, so that frame falls on no real
    // pixel and an object running off the edge runs on into the mirror.
    const int margin = std::max(8, static_cast<int>(std::lround(0.08 * std::max(rect.width, rect.height))));
    const cv::Rect region(rect.x - margin, rect.y - margin, rect.width + 2 * margin, rect.height + 2 * margin);
    cv::Mat regionPixels = mirroredRegion(pixels, region), regionMarks = mirroredRegion(imageMarks, region);
    const cv::Rect real = region & whole;
    if (cv::countNonZero(regionMarks == kMarkCut) == 0) {
        // A rectangle over the whole image leaves no background to learn
        // from: the mirrored margin, which holds no real pixel, is taken as
        // background instead.
        cv::Mat inImage = regionMarks(real - region.tl()).clone();
        regionMarks.setTo(kMarkCut);
        inImage.copyTo(regionMarks(real - region.tl()));
    }

    // The session on a reduced copy: the graph cut runs on its one halving,
    // and the full-size edge is found below.
    const double scale = std::min(1.0, double(kGrabCutWorkSide) / std::max(region.width, region.height));
    const cv::Size work(std::max(1, static_cast<int>(std::lround(region.width * scale))),
                        std::max(1, static_cast<int>(std::lround(region.height * scale))));
    cv::Mat workPixels = regionPixels, workMarks = regionMarks;
    if (work != region.size()) {
        cv::resize(regionPixels, workPixels, work, 0, 0, cv::INTER_AREA);
        cv::resize(regionMarks, workMarks, work, 0, 0, cv::INTER_NEAREST);
    }
    if (!grabCutAccepts(work.width, work.height))
        throw std::invalid_argument("the rectangle " + std::to_string(rect.width) + "x" + std::to_string(rect.height) +
                                    " is too narrow for GrabCut");
    cv::Mat workAux = workMarks.clone();
    {
        QxJob job = makeJob(workPixels, workMarks, workAux, cv::Rect(cv::Point(), work), progress);
        runSession(job, iterations);
    }
    const cv::Mat workSelection = workAux >= 0x80;

    // Colour models of that selection, over the region with its margin.
    cv::Mat states(work, CV_8UC1, cv::Scalar(cv::GC_PR_BGD));
    states.setTo(cv::GC_PR_FGD, workSelection);
    states.setTo(cv::GC_BGD, workAux == kMarkCut);
    states.setTo(cv::GC_FGD, workAux == kMarkKeep);
    cv::Mat workBgr;
    cv::cvtColor(workPixels, workBgr, cv::COLOR_BGRA2BGR);
    const GrabCutModels models = grabCutModels(workBgr, states);

    // Back to full size, the rectangle only.
    cv::Mat regionSelection;
    cv::resize(workSelection, regionSelection, region.size(), 0, 0, cv::INTER_LINEAR);
    cv::Mat selection = cv::Mat::zeros(image.size(), CV_8UC1);
    cv::Mat(regionSelection(real - region.tl()) >= 128).copyTo(selection(real));
    selection.setTo(0, imageMarks == kMarkCut);
    selection.setTo(255, imageMarks == kMarkKeep);

    // The edge again at full size, in a band of about two coarse pixels
    // (one halving below the reduced copy), on the rectangle and one pixel
    // around it for the neighbours.
    const double coarsePixel = 2.0 * std::max(region.width, region.height) / std::max(work.width, work.height);
    const int radius = std::max(3, static_cast<int>(std::lround(2.0 * coarsePixel)));
    const cv::Rect area = cv::Rect(rect.x - 1, rect.y - 1, rect.width + 2, rect.height + 2) & whole;
    cv::Mat bgr;
    cv::cvtColor(pixels(area), bgr, cv::COLOR_BGRA2BGR);
    const cv::Mat locked = (imageMarks(area) & 1) != 0;
    cv::Mat areaSelection = selection(area);
    refineGrabCutEdge(bgr, areaSelection, locked, models, radius);
    return selection;
}

cv::Mat grabCutTrimap(const cv::Mat& image, const cv::Mat& marks, cv::Rect rect, const GrabCutSettings& settings,
                      Progress progress) {
    if (settings.bandWidth < 0) throw std::invalid_argument("the band width must not be negative");
    const cv::Mat selection = grabCutSelection(image, marks, rect, settings.iterations, progress);

    // The selection as the session's result over the rectangle, fixed marks
    // as they came; the band and the ending pass at full size.
    cv::Mat pixels = toFourByte(image);
    cv::Mat mask = sessionMarks(marks, image.size(), rect);
    const cv::Mat fixed = (mask & 1) != 0;
    cv::Mat result(image.size(), CV_8UC1, cv::Scalar(0));
    result.setTo(kSoftKeep, selection);
    mask.copyTo(result, fixed);
    mask = result;
    cv::Mat aux = result.clone();
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
