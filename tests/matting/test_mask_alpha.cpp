// The matting export end to end on synthetic composites with exact ground
// truth: accuracy on the three working scales, the final merge against the
// host's marks, the progress bar, and the failure of an oversized system.
#include <gtest/gtest.h>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <cstdio>
#include <vector>

#include "frame/progress.h"
#include "qxmatte.h"
#include "support/composite.h"

namespace {

struct MaskRun {
    std::array<cv::Mat, 3> planes;
    cv::Mat marks;  // in: the marks; out: the alpha
    std::vector<int> ticks;
    int rc = 0;
};

int recordTick(int value, int /*total*/, void* cookie) {
    static_cast<std::vector<int>*>(cookie)->push_back(value);
    return 1;
}

MaskRun maskAlpha(const cv::Mat& image, const cv::Mat& marks, float unknownEstimate) {
    MaskRun run;
    run.planes = qxtest::splitPlanes(image);
    // The mask's rows are longer than the planes': each image keeps its own step.
    run.marks = cv::Mat(marks.rows, marks.cols + 13, CV_8UC1).colRange(0, marks.cols);
    marks.copyTo(run.marks);
    unsigned char* planes[3] = {run.planes[0].data, run.planes[1].data, run.planes[2].data};
    QxMaskJob job{};
    job.planes = planes;
    job.planeStep = int(run.planes[0].step);
    job.marksPixels = run.marks.data;
    job.marksStep = int(run.marks.step);
    job.width = image.cols;
    job.height = image.rows;
    job.progressCallback = recordTick;
    job.progressCookie = &run.ticks;
    run.rc = qxMaskAlpha(&job, 0, unknownEstimate, 255, 0, 255, 0);
    // The bar outlives the call; silence it before the cookie goes away.
    qx::startProgress(nullptr, nullptr, 0, 0, 0);
    return run;
}

// An estimate that makes the working-scale factor come out at `factor`
// (above 2: the reduced path at 1 / factor of the size).
float estimateForFactor(double factor, const cv::Mat& image) {
    double budget = qx::memoryBudgetK() * 1000.0;
    if (budget < 10.0) budget = 500000000.0;
    return float((factor * factor * budget - 12.0 * image.total()) / 1920.0);
}

// 0 and 255 stand only where the host marked exactly that.
void expectMergedAgainst(const cv::Mat& alpha, const cv::Mat& marks) {
    EXPECT_EQ(cv::countNonZero((alpha == 0) & (marks != 0)), 0);
    EXPECT_EQ(cv::countNonZero((alpha == 255) & (marks != 255)), 0);
}

struct PathCase {
    const char* name;
    int width, height;
    double sadBound, mseBound;  // about twice what the solve reaches here
};

TEST(MaskAlpha, MatchesGroundTruthOnAllThreeScales) {
    // Measured here: full 0.149 k / 0.0012, half 0.324 k / 0.0029, reduced 0.930 k / 0.0078.
    for (const PathCase& c : {PathCase{"full", 320, 240, 0.25, 0.0022}, PathCase{"half", 320, 240, 0.55, 0.005},
                              PathCase{"reduced", 480, 360, 1.6, 0.013}}) {
        SCOPED_TRACE(c.name);
        const qxtest::Composite comp = qxtest::makeComposite(c.width, c.height, 6, 3);
        const std::string path = c.name;
        const float estimate = path == "full"   ? float(comp.unknownCount)
                               : path == "half" ? 400000.0f  // over the unknown cap, within memory
                                                : estimateForFactor(2.5, comp.image);
        const MaskRun run = maskAlpha(comp.image, comp.trimap, estimate);
        ASSERT_EQ(run.rc, 1);
        const cv::Mat band = qxtest::unknownBand(comp.trimap);
        const double sad = qxtest::sadThousands(run.marks, comp.alpha, band);
        const double mse = qxtest::meanSquaredError(run.marks, comp.alpha, band);
        const double known = 1.0 - double(cv::countNonZero((run.marks != comp.trimap) & (comp.trimap != 128))) /
                                       cv::countNonZero(comp.trimap != 128);
        std::printf("[ measure  ] %-8s %dx%d unknown %d: SAD %.3f k, MSE %.5f, known kept %.4f\n", c.name,
                    c.width, c.height, comp.unknownCount, sad, mse, known);
        EXPECT_LT(sad, c.sadBound);
        EXPECT_LT(mse, c.mseBound);
        EXPECT_GT(known, 0.99);  // certain pixels keep their marks but at the band's rim
        expectMergedAgainst(run.marks, comp.trimap);
        if (path != "full") {  // the frame the doubling leaves is repaired from inside (up to the merge's 1)
            const int inner = path == "half" ? 1 : 2, outer = path == "half" ? 4 : 10;
            cv::Mat d;
            cv::absdiff(run.marks.row(0), run.marks.row(inner), d);
            EXPECT_EQ(cv::countNonZero(d > 1), 0);
            cv::absdiff(run.marks.col(c.width - 1), run.marks.col(c.width - outer), d);
            EXPECT_EQ(cv::countNonZero(d > 1), 0);
        }
        // The progress bar: twelve ticks of 10 at full size, one more for the
        // reduction on the scaled paths, where the 13th tick wraps to half.
        std::vector<int> expected;
        for (int v = 10; v <= 120; v += 10) expected.push_back(v);
        if (path != "full") expected.push_back(65);
        EXPECT_EQ(run.ticks, expected);
    }
}

TEST(MaskAlpha, MarksWithoutUnknownPixelsComeBackWithoutASolve) {
    // Hard 0/255 marks from the ground truth: nothing to solve, so the marks
    // return sharpened and refined, changed only along their own boundary.
    const qxtest::Composite comp = qxtest::makeComposite(200, 160, 6, 5);
    const cv::Mat marks = (comp.alpha >= 128) & cv::Mat(comp.alpha.size(), CV_8UC1, cv::Scalar(255));
    const MaskRun run = maskAlpha(comp.image, marks, 0.0f);
    ASSERT_EQ(run.rc, 1);
    std::printf("[ measure  ] no unknown: %zu ticks\n", run.ticks.size());
    EXPECT_LT(run.ticks.size(), 12u);  // the solver's own ticks are missing
    expectMergedAgainst(run.marks, marks);
    cv::Mat inner, outer;  // pixels more than 4 away from the other class
    cv::erode(marks, inner, cv::Mat::ones(9, 9, CV_8UC1));
    cv::erode(255 - marks, outer, cv::Mat::ones(9, 9, CV_8UC1));
    EXPECT_EQ(cv::countNonZero((run.marks != marks) & (inner | outer)), 0);
    EXPECT_GT(cv::countNonZero(run.marks != marks), 0);  // but the boundary is softened
}

TEST(MaskAlpha, OversizedSystemFailsWithTheBiasedCode) {
    // A small estimate but everything unknown: at half size 2000 x 1050 the
    // system has more windows than the matting system accepts, and its -1
    // comes back as -1001 before any large array is made.
    cv::Mat image(2100, 4000, CV_8UC3, cv::Scalar(40, 90, 160));
    const cv::Mat marks(image.size(), CV_8UC1, cv::Scalar(128));
    const MaskRun run = maskAlpha(image, marks, 1000.0f);
    EXPECT_EQ(run.rc, -1001);
}

}  // namespace
