// The hosts' default matte: colour sampling first, then the library's
// Laplacian solve for what sampling cannot settle.
//
// Sampling (sampleAlpha) gives each unknown pixel an alpha and a confidence.
// Confident pixels whose alpha is all but 0 or 255 become fixed marks before
// the solve, which shrinks the system (the solve gets faster) and pins
// enclosed background holes that no mark reaches; the Laplacian then fills in
// the soft pixels between them. (Blending the sampled alpha of soft pixels
// into the solved one by the confidence measured worse than the solve alone.)
// Pixels marked fixed come back exactly as marked.
#include <opencv2/imgproc.hpp>

#include "argument_checks.h"
#include "qxhost.h"

namespace qxhost {

namespace {
constexpr int kMinFreePixels = 3;  // the fewest unknown pixels qxKeepCutToAlpha solves
}  // namespace

MatteMethod parseMatteMethod(const std::string& name) {
    if (name == "accurate") return MatteMethod::Accurate;
    if (name == "design") return MatteMethod::Design;
    throw std::invalid_argument("matte method '" + name + "' is not one of accurate, design");
}

AccurateMarks prepareAccurateMarks(const cv::Mat& image, const cv::Mat& marks, const AccurateParams& params) {
    requireDepth8(image, "the image", (1u << 3) | (1u << 4));
    requireDepth8(marks, "the marks", 1u << 1);
    requireSameSize(image, "the image", marks, "the marks");
    AccurateMarks out;
    out.sampled = sampleAlpha(image, trimapFromMarks(marks), params.sampling);
    const cv::Mat free = (marks & 1) == 0;
    const cv::Mat sure = free & (out.sampled.confidence > params.confident);
    out.marks = marks.clone();
    // Cut only where the background sample itself explains the colour: a
    // faint strand over it is a few levels off, and the solve keeps it.
    out.marks.setTo(kMarkCut, sure & (out.sampled.alpha <= params.certainLevels) &
                                  (out.sampled.fromBackground <= params.backgroundLevels));
    out.marks.setTo(kMarkKeep, sure & (out.sampled.alpha >= 255 - params.certainLevels));
    // The solve needs a few free pixels; when sampling settles (almost) all of
    // them the marks go to the solve as they came.
    if (cv::countNonZero((out.marks & 1) == 0) < kMinFreePixels) out.marks = marks.clone();
    return out;
}

namespace {
// The pixels whose sampled alpha the fade test and the soft fixes trust.
cv::Mat trustedSamples(const cv::Mat& marks, const SampledAlpha& sampled, const AccurateParams& params) {
    return ((marks & 1) == 0) & (sampled.confidence > params.confident);
}
}  // namespace

double keptShare(const cv::Mat& solved, const cv::Mat& marks, const SampledAlpha& sampled,
                 const AccurateParams& params) {
    requireSameSize(solved, "the solved alpha", marks, "the marks");
    requireSameSize(sampled.alpha, "the sampled alpha", marks, "the marks");
    // Mid alphas only: near 0 and 255 the two agree by construction.
    const cv::Mat mid = trustedSamples(marks, sampled, params) & (sampled.alpha >= 32) & (sampled.alpha < 224);
    const double sampledSum = cv::sum(sampled.alpha & mid)[0];
    if (sampledSum <= 0) return 1.0;
    return cv::sum(solved & mid)[0] / sampledSum;
}

cv::Mat quickAlpha(const cv::Mat& image, const cv::Mat& marks) {
    requireSameSize(image, "the image", marks, "the marks");
    cv::Mat smallImage, smallMarks, quick;
    const cv::Size half((image.cols + 1) / 2, (image.rows + 1) / 2);
    cv::resize(image, smallImage, half, 0, 0, cv::INTER_AREA);
    cv::resize(marks, smallMarks, half, 0, 0, cv::INTER_NEAREST);
    CutoutSettings coarse;
    coarse.fullSize = false;
    try {
        quick = keepCutToAlpha(smallImage, smallMarks, coarse);
    } catch (const LibraryFailure&) {
        return cv::Mat();  // no marks of one kind left in the copy, or too large: the full solve will tell
    }
    cv::resize(quick, quick, image.size(), 0, 0, cv::INTER_LINEAR);
    return quick;
}

cv::Mat fixSampledAlpha(const cv::Mat& marks, const SampledAlpha& sampled, const AccurateParams& params) {
    requireSameSize(sampled.alpha, "the sampled alpha", marks, "the marks");
    cv::Mat out = marks.clone();
    const cv::Mat fixedValue = sampled.alpha | 1;
    fixedValue.copyTo(out, ((marks & 1) == 0) & (sampled.confidence > params.fixConfident));
    return out;
}

cv::Mat finishAccurateAlpha(const cv::Mat& solved, const cv::Mat& marks) {
    requireDepth8(solved, "the solved alpha", 1u << 1);
    requireSameSize(solved, "the solved alpha", marks, "the marks");
    cv::Mat out = solved.clone();
    // Fixed marks as marked, whatever the solve did next to them.
    marks.copyTo(out, (marks & 1) != 0);
    out.setTo(0, marks == kMarkCut);
    return out;
}

}  // namespace qxhost
