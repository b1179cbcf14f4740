// The GrabCut road of a host: rectangle and optional marks in, a grey trimap
// out, through qxGrabCut, qxGrabCutEdgeGen and qxGrabCutDeleteBuf. A
// region of the rectangle and a margin runs on a reduced copy, and the edge
// of its selection is decided again at full size (grabcut_band.cpp).
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <vector>

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
    for (int i = 0; i < iterations && rc == 1; ++i) rc = qxGrabCut(&job, 4);
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
// The colour rounds near the edge: their zone reaches this share of the
// middle level's longer side out from its edge (strands reach about a third
// of the object's height beyond its body) and half of it in (deeper, a dark
// helmet went out with a dark background); their models learn from about
// this many full-size pixels.
constexpr double kZoneReach = 0.1;
constexpr double kModelSamples = 8192;
// How much lower (in -log density) the other side's colour cost must be for
// a full-size pixel to change side on its own colour at the end.
constexpr double kLeanMargin = 2.0;
// The colour rounds go on while a round changes at least this share of the
// zone, up to kMaxRounds: a smooth outline settles in two, strands take more.
constexpr int kMaxRounds = 4;
constexpr double kSettledShare = 0.02;

// A size times a scale, rounded, at least one pixel a side.
cv::Size scaledSize(cv::Size size, double scale) {
    return {std::max(1, static_cast<int>(std::lround(size.width * scale))),
            std::max(1, static_cast<int>(std::lround(size.height * scale)))};
}

// A square structuring element reaching `radius` pixels each way.
cv::Mat squareKernel(int radius) {
    return cv::getStructuringElement(cv::MORPH_RECT, cv::Size(2 * radius + 1, 2 * radius + 1));
}

// The selection where the marks fix a side: out at fixed cut, in at fixed keep.
void applyFixedMarks(cv::Mat& selection, const cv::Mat& marks) {
    selection.setTo(0, marks == kMarkCut);
    selection.setTo(255, marks == kMarkKeep);
}

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
// mirror image (or, with BORDER_REPLICATE, its edge drawn out).
cv::Mat mirroredRegion(const cv::Mat& plane, cv::Rect region, int border = cv::BORDER_REFLECT) {
    const cv::Rect real = region & cv::Rect(0, 0, plane.cols, plane.rows);
    cv::Mat out;
    cv::copyMakeBorder(plane(real), out, real.y - region.y, region.br().y - real.br().y, real.x - region.x,
                       region.br().x - real.br().x, border);
    return out;
}

// Colour models of a selection: the object's from the selection and the
// fixed keep marks, the background's from the rest and the fixed cut marks.
// Leaving out a band round the selection's edge (where object and background
// mix) was measured and lost: thin strands then teach the object model
// nothing (mean IoU on the strand object -0.011, on the astronaut -0.004).
GrabCutModels selectionModels(const cv::Mat& bgr, const cv::Mat& selection, const cv::Mat& cut, const cv::Mat& keep) {
    const cv::Mat object = (selection | keep) & (cut == 0), background = (selection == 0) | cut;
    const int count = cv::countNonZero(object | background);
    if (count == 0) return GrabCutModels();
    cv::Mat colours(count, 1, CV_8UC3), states(count, 1, CV_8UC1);
    int n = 0;
    for (int y = 0; y < bgr.rows; ++y)
        for (int x = 0; x < bgr.cols; ++x) {
            const bool o = object.at<unsigned char>(y, x) != 0, b = background.at<unsigned char>(y, x) != 0;
            if (!o && !b) continue;
            colours.at<cv::Vec3b>(n) = bgr.at<cv::Vec3b>(y, x);
            states.at<unsigned char>(n++) = o ? cv::GC_PR_FGD : cv::GC_PR_BGD;
        }
    return grabCutModels(colours, states);
}

// Clears the pixels of `flip` outside `selection` that no path through
// `flip` joins to the selection: what turns object on its colour alone must
// grow out of the object (a red petal beside an orange suit stays out).
void keepAttached(cv::Mat& flip, const cv::Mat& selection) {
    const cv::Mat added = flip & ~selection;
    cv::Mat labels;
    const int count = cv::connectedComponents(added | selection, labels, 8, CV_32S);
    std::vector<unsigned char> attached(static_cast<size_t>(count), 0);
    for (int y = 0; y < labels.rows; ++y) {
        const int* l = labels.ptr<int>(y);
        const unsigned char* s = selection.ptr<unsigned char>(y);
        for (int x = 0; x < labels.cols; ++x)
            if (s[x]) attached[static_cast<size_t>(l[x])] = 1;
    }
    for (int y = 0; y < labels.rows; ++y) {
        const int* l = labels.ptr<int>(y);
        const unsigned char* a = added.ptr<unsigned char>(y);
        unsigned char* f = flip.ptr<unsigned char>(y);
        for (int x = 0; x < labels.cols; ++x)
            if (a[x] && !attached[static_cast<size_t>(l[x])]) f[x] = 0;
    }
}

// The colour rounds near the edge. Where thin parts (strands, hair) cross the
// edge, the reduced levels see them mixed with what lies between them and
// keep one smooth outline round both. Here the colour models are learnt from
// full-size pixels taken one in `stride` each way (pure colours, unmixed),
// and on a level of kGrabCutZoneSide over the area alone the pixels of
// `zone` whose colour favours the other side, with two pixels round them and
// a ring round the edge, are decided again by a graph cut; round after round,
// the models learnt again from the new selection, until the selection
// settles, as a full-size cut iterates. The edge then goes back to full size
// and is decided there in a band of one level pixel, and the full-size
// pixels of the zone that lean clearly the other way change side.
void refineZone(const cv::Mat& bgr, cv::Mat& selection, const cv::Mat& marks, const cv::Mat& zone, int edgeRadius) {
    const cv::Mat locked = (marks & 1) != 0;
    const double scale = std::min(1.0, double(kGrabCutZoneSide) / std::max(bgr.cols, bgr.rows));
    cv::Mat levelBgr = bgr, level = selection, levelLocked = locked, levelZone = zone;
    if (scale < 1.0) {
        const cv::Size size = scaledSize(bgr.size(), scale);
        cv::resize(bgr, levelBgr, size, 0, 0, cv::INTER_AREA);
        cv::resize(selection, level, size, 0, 0, cv::INTER_AREA);
        level = level >= 128;
        cv::resize(locked, levelLocked, size, 0, 0, cv::INTER_NEAREST);
        cv::resize(zone, levelZone, size, 0, 0, cv::INTER_NEAREST);
    }
    levelZone &= levelLocked == 0;

    const int stride = std::max(1, static_cast<int>(std::sqrt(double(bgr.total()) / kModelSamples)));
    const cv::Size samples((bgr.cols + stride - 1) / stride, (bgr.rows + stride - 1) / stride);
    cv::Mat sampledBgr, sampledCut, sampledKeep;
    cv::resize(bgr, sampledBgr, samples, 0, 0, cv::INTER_NEAREST);
    cv::resize(marks == kMarkCut, sampledCut, samples, 0, 0, cv::INTER_NEAREST);
    cv::resize(marks == kMarkKeep, sampledKeep, samples, 0, 0, cv::INTER_NEAREST);
    const int ringRadius = std::max(1, static_cast<int>(std::lround(edgeRadius * scale)));
    const cv::Mat ring = squareKernel(ringRadius), around = squareKernel(2);
    const double zoneArea = std::max(1, cv::countNonZero(levelZone));
    GrabCutModels models;
    for (int round = 0; round < kMaxRounds; ++round) {
        cv::Mat sampledSelection;
        cv::resize(level, sampledSelection, samples, 0, 0, cv::INTER_NEAREST);
        models = selectionModels(sampledBgr, sampledSelection, sampledCut, sampledKeep);
        cv::Mat band = grabCutDisagreement(levelBgr, level, levelZone, models), grown, shrunk;
        cv::dilate(band, band, around);
        cv::dilate(level, grown, ring);
        cv::erode(level, shrunk, ring);
        band = (band | (grown != shrunk)) & (levelLocked == 0);
        const cv::Mat before = level.clone();
        refineGrabCutRegion(levelBgr, level, band, models, 1.0 / scale);
        if (round > 0 && cv::countNonZero(before != level) < kSettledShare * zoneArea) break;
    }
    if (scale < 1.0) {
        cv::resize(level, selection, bgr.size(), 0, 0, cv::INTER_LINEAR);
        selection = selection >= 128;
        applyFixedMarks(selection, marks);
        refineGrabCutEdge(bgr, selection, locked, models, std::max(1, static_cast<int>(std::lround(1.0 / scale))));
    } else {
        selection = level;
    }
    // Last, each full-size pixel of the zone whose colour leans clearly to the
    // other side changes side by itself: a strand of one to three pixels, or
    // the gap between two, is decided by its own colour. A change no
    // neighbour shares is dropped (a median of three), so a smooth edge gains
    // no speckle.
    cv::Mat flip = grabCutDisagreement(bgr, selection, zone & (locked == 0), models, kLeanMargin);
    cv::medianBlur(flip, flip, 3);
    keepAttached(flip, selection);
    selection ^= flip;
}

}  // namespace

cv::Mat grabCutSelection(const cv::Mat& image, const cv::Mat& marks, cv::Rect rect, int iterations, Progress progress) {
    checkGrabCutArguments(image, marks, rect, iterations);
    const cv::Rect whole(0, 0, image.cols, image.rows);
    const cv::Mat imageMarks = sessionMarks(marks, image.size(), rect);
    cv::Mat bgr = image;
    if (image.channels() == 4) cv::cvtColor(image, bgr, cv::COLOR_BGRA2BGR);

    // The region: the rectangle and a margin, as wide as kGrabCutMargin of
    // the rectangle's longer side where the image has room, at least 8% of
    // it. The margin is fixed cut where it lies in the image: the first pass
    // builds its colour models from it, and a background that only starts to
    // show beside the rectangle (a large flower behind a figure) is learnt as
    // background. Beyond the image's edge it is the mirror image with the
    // rectangle's marks mirrored, so the coarse level's frame of definite
    // background falls on no real pixel and an object running off the edge
    // runs on into the mirror.
    const int side = std::max(rect.width, rect.height);
    const int wide = std::max(8, static_cast<int>(std::lround(kGrabCutMargin * side)));
    const int narrow = std::max(8, static_cast<int>(std::lround(0.08 * side)));
    auto margin = [&](int room) { return std::max(narrow, std::min(wide, room)); };
    const int left = margin(rect.x), top = margin(rect.y), right = margin(image.cols - rect.br().x),
              bottom = margin(image.rows - rect.br().y);
    const cv::Rect region(rect.x - left, rect.y - top, rect.width + left + right, rect.height + top + bottom);

    // The middle level: the image reduced so that the region's longer side
    // is kGrabCutMiddleSide (or as it is, when smaller), the region cut from
    // it with its mirrored margin.
    const double middle = std::min(1.0, double(kGrabCutMiddleSide) / std::max(region.width, region.height));
    cv::Mat midImage = bgr, midImageMarks = imageMarks;
    if (middle < 1.0) {
        const cv::Size size = scaledSize(image.size(), middle);
        cv::resize(bgr, midImage, size, 0, 0, cv::INTER_AREA);
        cv::resize(imageMarks, midImageMarks, size, 0, 0, cv::INTER_NEAREST);
    }
    const double sx = double(midImage.cols) / image.cols, sy = double(midImage.rows) / image.rows;
    const cv::Rect midRegion(static_cast<int>(std::lround(region.x * sx)), static_cast<int>(std::lround(region.y * sy)),
                             std::max(1, static_cast<int>(std::lround(region.width * sx))),
                             std::max(1, static_cast<int>(std::lround(region.height * sy))));
    cv::Mat midMarks = mirroredRegion(midImageMarks, midRegion);
    // A rectangle over the whole image leaves no background to learn from:
    // the margin, which holds no real pixel, is taken as background instead,
    // filled with the image's edge drawn out. A mirror would bring in what
    // lies deeper than the margin is wide (the object itself, when the image
    // is narrow in that direction).
    const bool wholeImage = cv::countNonZero(midMarks == kMarkCut) == 0;
    const cv::Mat midBgr = mirroredRegion(midImage, midRegion, wholeImage ? cv::BORDER_REPLICATE : cv::BORDER_REFLECT);
    if (wholeImage) {
        const cv::Rect inside = (midRegion & cv::Rect(0, 0, midImage.cols, midImage.rows)) - midRegion.tl();
        cv::Mat inImage = midMarks(inside).clone();
        midMarks.setTo(kMarkCut);
        inImage.copyTo(midMarks(inside));
    }

    // The session on a copy of at most kGrabCutWorkSide a side, where the
    // library's graph cut runs without halving.
    const int longer = std::max(midBgr.cols, midBgr.rows), shorter = std::min(midBgr.cols, midBgr.rows);
    const double scale =
        std::min({1.0, std::max(double(kGrabCutWorkSide) / longer, double(kGrabCutWorkShortSide) / shorter),
                  double(kGrabCutMaxSide) / longer});
    const cv::Size work = scaledSize(midBgr.size(), scale);
    if (!grabCutAccepts(work.width, work.height))
        throw std::invalid_argument("the rectangle " + std::to_string(rect.width) + "x" + std::to_string(rect.height) +
                                    " is too narrow for GrabCut");
    // The session writes its marks plane: a copy, so midMarks stays as marked.
    cv::Mat workBgr = midBgr, workMarks = midMarks.clone();
    if (work != midBgr.size()) {
        cv::resize(midBgr, workBgr, work, 0, 0, cv::INTER_AREA);
        cv::resize(midMarks, workMarks, work, 0, 0, cv::INTER_NEAREST);
    }
    cv::Mat workPixels;
    cv::cvtColor(workBgr, workPixels, cv::COLOR_BGR2BGRA);
    const cv::Mat workCut = workMarks == kMarkCut, workKeep = workMarks == kMarkKeep;
    cv::Mat workAux = workMarks.clone();
    {
        QxJob job = makeJob(workPixels, workMarks, workAux, cv::Rect(cv::Point(), work), progress);
        runSession(job, iterations);
    }
    const cv::Mat workSelection = workAux >= 0x80;

    // Two rounds on the middle level, each learning the colour models (on
    // the session's copy: statistics need no more) from the last selection,
    // then cutting again in a band of ten session
    // pixels around its edge, wide enough to bring back a part the coarse cut
    // lost (hair, a thin limb). The cut weighs its energy as the full-size
    // picture would: a middle pixel stands for 1/middle^2 pixels, an edge
    // between two for 1/middle, so the colour term is weighted by 1/middle
    // against the smoothness term. Unweighted, smoothing on a reduced copy
    // swallows what is narrow.
    cv::Mat midSelection;
    cv::resize(workSelection, midSelection, midBgr.size(), 0, 0, cv::INTER_LINEAR);
    midSelection = midSelection >= 128;
    const cv::Mat midFixed = (midMarks & 1) != 0;
    applyFixedMarks(midSelection, midMarks);
    const int wideRadius = std::max(
        3, static_cast<int>(std::lround(10.0 * std::max(midBgr.cols, midBgr.rows) / std::max(work.width, work.height))));
    GrabCutModels models;
    for (int round = 0; round < 2; ++round) {
        cv::Mat chosen = workSelection;
        if (round > 0) {
            cv::resize(midSelection, chosen, work, 0, 0, cv::INTER_AREA);
            chosen = chosen >= 128;
        }
        models = selectionModels(workBgr, chosen, workCut, workKeep);
        refineGrabCutEdge(midBgr, midSelection, midFixed, models, wideRadius, 1.0 / middle);
    }

    // Back to full size over the rectangle and one pixel around it (the
    // neighbours of its edge); the middle level's selection there, and the
    // zone round its edge where the colour rounds may change sides.
    const cv::Rect area = cv::Rect(rect.x - 1, rect.y - 1, rect.width + 2, rect.height + 2) & whole;
    const cv::Mat areaMarks = imageMarks(area);
    cv::Mat areaSelection;
    if (middle < 1.0) {
        // Full-size pixel (x, y) of the area sits at ((x + 0.5) s - 0.5) on
        // the middle level, s its pixels per full-size pixel.
        const double mx = double(midBgr.cols) / region.width, my = double(midBgr.rows) / region.height;
        const cv::Matx23d toMiddle(mx, 0, (area.x - region.x + 0.5) * mx - 0.5, 0, my,
                                   (area.y - region.y + 0.5) * my - 0.5);
        cv::warpAffine(midSelection, areaSelection, toMiddle, area.size(), cv::INTER_LINEAR | cv::WARP_INVERSE_MAP,
                       cv::BORDER_REPLICATE);
        areaSelection = areaSelection >= 128;
        auto square = [&](double share) {
            return squareKernel(std::max(1, static_cast<int>(std::lround(share * std::max(midBgr.cols, midBgr.rows)))));
        };
        cv::Mat grown, shrunk, zone;
        cv::dilate(midSelection, grown, square(kZoneReach));
        cv::erode(midSelection, shrunk, square(kZoneReach / 2));
        cv::warpAffine(grown != shrunk, zone, toMiddle, area.size(), cv::INTER_NEAREST | cv::WARP_INVERSE_MAP,
                       cv::BORDER_REPLICATE);
        applyFixedMarks(areaSelection, areaMarks);
        refineZone(bgr(area), areaSelection, areaMarks, zone, std::max(3, static_cast<int>(std::lround(2.0 / middle))));
    } else {
        areaSelection = midSelection(area - region.tl()).clone();
        applyFixedMarks(areaSelection, areaMarks);
    }
    cv::Mat selection = cv::Mat::zeros(image.size(), CV_8UC1);
    areaSelection.copyTo(selection(area));
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
